#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcpixel.h"

namespace radvex {

/// True when Pixel Data holds the pixels of every frame that the attributes tell of, and there is one. DCMTK's encoders
/// multiply in 32 bits, and the number of frames may be the caller's.
bool holdsAllPixels(DcmDataset& dataset);

/// Puts the samples of each pixel side by side, frame by frame, and says so in PlanarConfiguration. DCMTK's lossless
/// JPEG encoder does the same, but takes the planes of all frames for those of one.
/// Pixel Data has to hold all pixels.
void interleaveSamples(DcmDataset& dataset);

/// True when pixels that were just compressed can be read back, as far as that is in doubt: pixels that came out no
/// smaller than they were are decoded once, since encoders have been seen to cut them short without a word.
bool canBeDecoded(DcmDataset& dataset);

/// The fragments that the pixels are compressed to, which stay theirs; null while they are not compressed.
DcmPixelSequence* currentFragments(DcmPixelData& pixels);

} // namespace radvex
