#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "formats/volumes/VolumeGeometry.h"
#include "volume/SliceRecord.h"

namespace radvex::volume {

enum class FindingKind {
    instanceOrder,           ///< by InstanceNumber the slices do not follow each other in space
    noInstanceNumber,        ///< no InstanceNumber
    duplicateInstanceNumber, ///< several files of one InstanceNumber
    noPosition,              ///< no usable position and orientation
    noPixelSpacing,          ///< no usable PixelSpacing
    unevenSpacing,           ///< distances between slices differ
    missingSlices,           ///< a distance is a multiple of the usual one
    duplicatePosition,       ///< several slices at one place
    differentOrientation,    ///< directions differ
    differentPixelSpacing,   ///< pixel spacings differ
    tilt,                    ///< slices are not stacked along their normal
    drift,                   ///< slices shift sideways, and not along a line
    unreadableFile,          ///< a file that is listed cannot be read
    framesLeftOut,           ///< only the first frame of a file is in the volume
};

/// Name of a kind in JSON, such as "missingSlices".
const char* findingName(FindingKind kind);

/// Something that a user should know about the slices of a volume.
struct Finding {
    FindingKind kind;
    bool isError = false; ///< no volume is written unless the user insists
    std::string sentence{};
    std::vector<std::string> files{}; ///< those concerned, with the frame where a file has several
};

/// What the slices say together. Orders are indices into the slices.
struct Verdict {
    std::vector<std::size_t> byInstance{}; ///< by InstanceNumber (absent counts as 0), then as they came
    std::vector<std::size_t> byPosition{}; ///< along the normal; slices without a place or of another direction behind
    bool hasPositions = false;             ///< false: byPosition is byInstance
    bool hasOneNumberEach = true;          ///< no two files share an InstanceNumber
    std::optional<double> tiltDegrees{};   ///< angle between the direction of stacking and the normal
    std::vector<Finding> findings{};

    bool hasErrors() const;
    bool has(FindingKind kind) const;
};

/// Compares the places of the slices of one volume.
///
/// Tolerances. Directions: 1e-3 in each cosine, what three decimals leave open. Pixel spacings: 1e-3 of their value.
/// Distances between slices: 1e-3 of the usual one or 0.01 mm, whichever is more, since positions are often written
/// with two decimals; but never over a twentieth of the usual one, for microscopes. A gap is missing slices from 1.9
/// times the usual distance when it is within 0.1 of a multiple. Stacking counts as tilted from 1e-3 (0.06 degrees). A
/// sideways shift counts as drift from a tenth of a pixel.
Verdict judgeSlices(const std::vector<SliceRecord>& slices);

/// Geometry of a volume with the slices in `order`, one of the verdict's two. Uneven distances give the mean step,
/// missing slices the usual one. Slices that are doubled, differ in direction or pixel spacing, or are not in spatial
/// order give spacings and no place. A distance that nobody knows is SpacingBetweenSlices, SliceThickness or 1.
formats::VolumeGeometry geometryOf(const std::vector<SliceRecord>& slices, const Verdict& verdict,
                                   const std::vector<std::size_t>& order);

/// The first few of the names, and how many more there are.
std::string namesOf(const std::vector<std::string>& files);

} // namespace radvex::volume
