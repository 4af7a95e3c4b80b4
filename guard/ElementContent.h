#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "guard/ElementHeader.h"

namespace radvex {

/// What DCMTK's parser makes of an element of an item.
enum class ElementContent {
    Value,
    Sequence,
    PixelSequence, ///< its items hold fragments, no elements
    ItemEnd,
    Refused,  ///< DCMTK gives up at its content
    Misplaced ///< DCMTK gives up before it
};

/// What decides the content of an element of undefined length beside its header.
struct ElementSurroundings {
    bool isPrivatePixelData = false; ///< by the dictionary, with the creator that the item names
    bool isCheckedForVr = false;     ///< of an item in implicit VR: DCMTK then settles VRs that depend on others
    bool hasWaveformBits = false;    ///< the item states the bits of its waveform before
};

/// An element with a defined length whose VR is not that of plain values.
ElementContent contentOfUncommon(const ElementHeader& header);

/// An element with a defined length.
inline ElementContent contentOf(const ElementHeader& header) {
    constexpr auto bit = [](DcmEVR vr) { return std::uint64_t{1} << vr; };
    constexpr std::uint64_t kPlain = bit(EVR_AE) | bit(EVR_AS) | bit(EVR_AT) | bit(EVR_CS) | bit(EVR_DA) | bit(EVR_DS) |
                                     bit(EVR_DT) | bit(EVR_FD) | bit(EVR_FL) | bit(EVR_IS) | bit(EVR_LO) | bit(EVR_LT) |
                                     bit(EVR_PN) | bit(EVR_SH) | bit(EVR_SL) | bit(EVR_SS) | bit(EVR_ST) | bit(EVR_TM) |
                                     bit(EVR_UI) | bit(EVR_UL) | bit(EVR_US);
    return (kPlain >> header.vr & 1) != 0 ? ElementContent::Value : contentOfUncommon(header);
}

/// An element with kUndefinedLength.
ElementContent contentOfUndefined(const ElementHeader& header, const ElementSurroundings& surroundings);

/// Reads text as DCMTK gives it, up to the first zero byte; from a text of any length the beginning, which is longer
/// than any text that matters. Moves over some of the value, or all of it.
/// @return nothing for a value that is empty or no text
std::optional<std::string> readText(ByteSource& source, const ElementHeader& header);

} // namespace radvex
