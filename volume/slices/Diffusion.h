#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "formats/volumes/VolumeGeometry.h"
#include "host/Value.h"

namespace radvex::volume {

/// How an MR image is weighted by diffusion.
struct DiffusionWeighting {
    double bValue = 0; ///< s/mm2, at least 0
    /// Of the gradient: a unit vector in the patient's system (LPS). None for b = 0, for an isotropic weighting, and
    /// where the file does not say it.
    std::optional<formats::Vector3> direction{};
};

/// What diffusionOf needs of the dataset of a file. The functional groups of an enhanced file come on top.
inline constexpr std::array<const char*, 4> kDiffusionKeywords{"DiffusionBValue", "DiffusionDirectionality",
                                                               "DiffusionGradientOrientation", "MRDiffusionSequence"};

/// The weighting from the standard attributes of the MR Diffusion Macro (PS3.3 C.8.13.5.9), which many scanners also
/// write into the dataset of a classic file. Private attributes are not looked at. A b-matrix gives the b-value where
/// none is written, and the direction, up to its sign, if it is almost that of a single gradient. Vectors of another
/// length are scaled to 1; an unusable one is no direction.
/// @param attributes  the dataset of a classic file, or one item of the functional groups of an enhanced one, as
///                    ReadMetadata gives them
/// @return nothing without a usable b-value
std::optional<DiffusionWeighting> diffusionOf(velmora::StoreView attributes);

/// The b-values of volumes as FSL reads them: one line, in s/mm2.
std::string bvalText(std::span<const DiffusionWeighting> volumes);

/// The directions of volumes as FSL reads them: three lines, one for each axis of the image, with a column for each
/// volume; 0 0 0 without a direction. FSL counts columns in the order of a left-handed system: if the matrix from
/// indices to RAS has a positive determinant, the first component is negated. Under a gantry tilt, the third axis is
/// the normal of the slices, so that the vectors keep their length.
/// @param geometry  of the volume file, whose columns, rows and slices are those of the geometry
/// @throws VolumeError  there are directions, but the geometry has no position and thus no axes
std::string bvecText(std::span<const DiffusionWeighting> volumes, const formats::VolumeGeometry& geometry);

} // namespace radvex::volume
