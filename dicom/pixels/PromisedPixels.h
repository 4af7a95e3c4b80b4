#pragma once

#include <algorithm>
#include <string>

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

// Attributes of an image; those that are missing count as 1, bits as 8.
Uint16 numberOr(Uint16 otherwise, DcmItem& item, const DcmTagKey& key);
double framesOf(DcmItem& item);
double bitsOfSample(DcmItem& item);
/// Of the value of Pixel Data.
double storedBytes(DcmItem& item);
/// Photometric Interpretation as DCMTK understands it, letters and digits only; empty where a pixel has one sample.
std::string colourModelOf(DcmItem& item);
/// As many as DCMTK takes a pixel of that model to have, at least, whatever the attribute says.
double samplesOfPixel(DcmItem& item);
/// Bytes that pixels of these attributes take.
double declaredBytes(DcmItem& item);

/// Bytes that a decoder may make of compressed pixels with these attributes. A sample is two bytes at least: the coded
/// stream may have 16 bits where the attributes speak of 8, or of 1. Attributes that are missing count as 1.
double decodedBytes(DcmItem& item);

/// True when the attributes of an image promise too many bytes more than Pixel Data holds. A missing sample counts at
/// least one byte, since that is what it costs in memory. Attributes that are missing count as 1.
bool promisesTooManyPixels(DcmItem& dataset);

} // namespace radvex
