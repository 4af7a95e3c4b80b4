#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Why DCMTK's renderer would read or write beyond its memory for an image, in a few words; empty when it would not:
///  - 32-bit pixels that end inside a word;
///  - more samples than 32 bits can count, which is possible when a sample has fewer than 8 bits;
///  - colour by plane, other than RGB, with a value that is too short: DCMTK reads the missing planes all the same;
///  - an odd number of pixels that share their colours in pairs (PS3.3 C.7.6.3.1.2): the last would show what was in
///  the
///    memory before;
///  - overlay planes whose size overflows;
///  - a modality LUT for more than 16 bits: DCMTK does not apply it, but sizes the values for it.
std::string reasonNotToRender(DcmDataset& dataset);

/// A standalone overlay (retired, PS3.4) has planes and no pixels: DCMTK opens it as an image that it never fills.
bool isStandaloneOverlay(DcmItem& dataset);

/// Appends a byte to Pixel Data of an odd length, which PS3.5 7.1.1 does not allow: DCMTK would read the last sample
/// from behind the value.
void padOddPixelData(DcmDataset& dataset);

} // namespace radvex
