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

/// Bytes that a decoder may make of compressed pixels with these attributes. A sample is two bytes at least: the coded
/// stream may have 16 bits where the attributes speak of 8, or of 1. Attributes that are missing count as 1.
double decodedBytes(DcmItem& item);

/// True when the attributes of an image promise too many bytes more than Pixel Data holds. A missing sample counts at
/// least one byte, since that is what it costs in memory. Attributes that are missing count as 1.
bool promisesTooManyPixels(DcmItem& dataset);

/// True when DCMTK's renderer would read beyond Pixel Data: 32-bit pixels that end inside a word, overlay planes whose
/// size it cannot count, and short values of colour by plane other than RGB and YBR_FULL, whose later planes it looks
/// for where none are.
bool misleadsTheRenderer(DcmItem& dataset);

} // namespace radvex
