#pragma once

#include <memory>
#include <vector>

#include "formats/volumes/VolumeFile.h"

namespace radvex::volume {

/// A volume whose slices were interpolated.
struct ResampledVolume {
    formats::VolumeHeader header{}; ///< with the new number of slices, and f32
    std::vector<formats::SliceBytes> slices{};
    std::shared_ptr<const void> owner{}; ///< of the samples
};

/// Interpolates linearly between neighbouring slices, to slices at even distances from the first one to the last one.
/// Values become f32, or f64 if that could not hold them; colour is not interpolated.
/// @param heights  of the slices along their normal in mm, ascending
/// @param count    new slices, at least 2
/// @throws VolumeError  colour, or no memory
ResampledVolume resampleVolume(const formats::VolumeHeader& header, const std::vector<formats::SliceBytes>& slices,
                               const std::vector<double>& heights, vint count);

} // namespace radvex::volume
