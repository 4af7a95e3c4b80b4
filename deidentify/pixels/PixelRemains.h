#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// What became of bytes that travel with pixels and are none.
struct PixelRemains {
    bool areCleared = false; ///< some were there and are zero now
    std::string problem{};   ///< why others remain, as a part of a sentence; empty when none do
};

/// Clears what Pixel Data holds beside pixels: bytes behind the last frame of raw pixels, and in JPEG, JPEG-LS and JPEG
/// 2000 streams the comments, what applications and cameras stored (EXIF, thumbnails, profiles), and bytes behind the
/// end of an image. Lengths and offsets stay, and so does all that decoding needs.
PixelRemains clearPixelRemains(DcmDataset& dataset);

/// The same for one fragment that starts a frame; others are left alone.
/// @param areCleared  set when a byte was changed
/// @return false when the fragment ends before the headers of its frame do
bool clearStreamRemains(std::span<Uint8> fragment, bool& areCleared);

} // namespace radvex::deidentify
