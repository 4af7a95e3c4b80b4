#pragma once

#include <functional>

#include "host/Host.h"
#include "volume/VolumeSeries.h"

namespace radvex::volume {

/// What reading a series needs.
struct SeriesReading {
    velmora::Host& host;
    const media::Medium& medium;
    media::Selection selection{};
    std::function<void()> step = [] {}; ///< called after each file
};

/// The picture volume of Read3DImage: the first frame of each file, in the library's order by InstanceNumber.
/// @param scaling  for the library
/// @throws NoPicturesError, VolumeError, LibraryError
SeriesVolume readRenderedVolume(const SeriesReading& reading, const SeriesFiles& series,
                                const velmora::Tensor& scaling);

} // namespace radvex::volume
