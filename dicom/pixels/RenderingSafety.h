#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Why DCMTK's renderer would read or write beyond what it has of an image, in a few words; empty when it would not:
///  - 32-bit pixels that end inside a word;
///  - more samples than it counts in 32 bits, which fewer than 8 bits each can be;
///  - colour by plane other than RGB whose value is short: it looks for the later planes where none are;
///  - overlay planes whose size it cannot count;
///  - a modality LUT for more than 16 bits: it is left out, but not the size that it gives the values.
std::string reasonNotToRender(DcmDataset& dataset);

/// A standalone overlay (retired, PS3.4) has planes and no pixels: DCMTK opens it as an image that it never fills.
bool isStandaloneOverlay(DcmItem& dataset);

/// Gives a value of Pixel Data of an odd length, which PS3.5 7.1.1 does not allow, a byte more: DCMTK takes the last
/// sample from behind it.
void makeEven(DcmDataset& dataset);

} // namespace radvex
