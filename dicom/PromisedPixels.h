#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex {

/// A shape may promise this many bytes more than its value holds. A file of a few bytes must not claim the machine's
/// memory.
inline constexpr double kMaxMissingBytes = 256.0 * 1024 * 1024;

/// True when the attributes of an image promise too many bytes more than Pixel Data holds. A frame without pixels
/// counts as one byte. Attributes that are missing count as 1.
bool promisesTooManyPixels(DcmItem& dataset);

} // namespace radvex
