#pragma once

#include <algorithm>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex {

/// A shape may promise this many bytes more than its value holds. A file of a few bytes must not claim the machine's
/// memory.
inline constexpr double kMaxMissingBytes = 256.0 * 1024 * 1024;

/// Bytes that frames count for which the value does not hold: each at least what it costs as an array of its own.
/// @param framesHeld  may have a fraction
inline double missingBytesOfFrames(double frames, double framesHeld, double frameBytes) {
    constexpr double kArrayCost = 1024.0;
    return (frames - framesHeld) * std::max(kArrayCost, frameBytes);
}

/// True when the attributes of an image promise too many bytes more than Pixel Data holds. A missing sample counts at
/// least one byte, since that is what it costs in memory. Attributes that are missing count as 1.
bool promisesTooManyPixels(DcmItem& dataset);

} // namespace radvex
