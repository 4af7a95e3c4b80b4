#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dcpixseq.h"

namespace radvex {

/// The fragments of one frame of compressed pixels, in order.
using FrameFragments = std::vector<DcmPixelItem*>;

/// Which fragments make which frame (PS3.5 A.4): each its own; or those that the offset table of the sequence, or the
/// Extended Offset Table of the item around it (PS3.3 C.7.6.3.1.8), puts together; or those up to the next that starts
/// with a codestream of JPEG 2000.
///
/// @param item    holds the pixels
/// @param frames  that its attributes promise; no more than there are fragments are looked for
/// @return a list for each frame; empty when the frames cannot be told apart
std::vector<FrameFragments> fragmentsOfFrames(DcmItem& item, DcmPixelSequence& fragments, std::size_t frames);

/// Empty when they cannot be read.
std::span<const Uint8> bytesOfFragment(DcmPixelItem& fragment);

/// The bytes of a frame. Several fragments are joined in `joined`.
/// @return nothing when a fragment cannot be read
std::span<const Uint8> bytesOfFrame(const FrameFragments& frame, std::vector<Uint8>& joined);

} // namespace radvex
