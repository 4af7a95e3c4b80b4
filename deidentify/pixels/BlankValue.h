#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "deidentify/pixels/PixelLayout.h"

namespace radvex::deidentify {

/// What blanked pixels hold: a stored value for each sample of a pixel, not yet shifted to its bits.
///
/// Without `fill` they are shown black, or white where the image is inverted after all: the smallest stored value of
/// MONOCHROME2 and the largest of MONOCHROME1, which every linear window makes black; no colour in RGB and YBR; the
/// darkest entry of a palette; 0 as a floating-point value, of which there is no smallest one that would leave windows
/// usable. Never Pixel Padding Value: it says that nothing was acquired there, may be of any grey, and programs leave
/// such pixels out of statistics and surfaces.
///
/// With `fill` every sample is `fill`; for YBR the luminance is, without a colour.
/// @throws std::runtime_error  a part of a sentence: `fill` is no stored value, or the palette cannot be read
std::vector<std::uint64_t> blankPixel(DcmItem& dataset, const PixelLayout& layout, std::optional<double> fill);

} // namespace radvex::deidentify
