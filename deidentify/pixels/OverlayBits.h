#pragma once

#include <cstdint>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// What became of overlay planes that lie in Pixel Data, in bits that no stored value uses (retired, PS3.5 8.1.2).
struct OverlayBits {
    std::uint64_t cleared = 0; ///< the bits of each word that were cleared
    std::string problem{};     ///< why planes remain, as a part of a sentence; empty when none does
};

/// The bits of each word of Pixel Data that overlay groups claim and no stored value uses.
/// @param shared  receives the claimed bits that are part of the stored value; may be null
std::uint64_t claimedOverlayBits(DcmItem& dataset, std::uint64_t* shared = nullptr);

/// Clears overlay planes in the words of raw pixels: without their groups they could still be shown by whoever knows of
/// them. Stored values stay as they are, bit for bit. Must run before the overlay groups are removed, which alone say
/// where the planes are. Compressed pixels are not looked into, since most of their codings keep no such bits.
OverlayBits clearOverlayBits(DcmDataset& dataset);

} // namespace radvex::deidentify
