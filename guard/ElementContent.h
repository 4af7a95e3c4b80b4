#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "guard/ElementHeader.h"

namespace radvex {

/// How DCMTK's parser reads an element.
enum class ElementContent {
    Value,
    Sequence,
    PixelSequence, ///< its items hold fragments instead of elements
    ItemEnd,
    Refused,  ///< DCMTK fails at the content
    Misplaced ///< DCMTK fails at the header
};

/// What decides, together with its header, how DCMTK reads an element of undefined length.
struct ElementContext {
    bool isPrivatePixelData = false; ///< according to the dictionary and the item's private creator
    bool isCheckedForVr = false;     ///< in implicit VR, where DCMTK derives some VRs from other elements
    bool hasWaveformBits = false;    ///< the item has told its waveform's bits already
};

/// The content of an element of defined length whose VR is not one of the common ones.
ElementContent contentOfUncommon(const ElementHeader& header);

/// The content of an element of defined length.
inline ElementContent contentOf(const ElementHeader& header) {
    constexpr auto bit = [](DcmEVR vr) { return std::uint64_t{1} << vr; };
    constexpr std::uint64_t kCommon = bit(EVR_AE) | bit(EVR_AS) | bit(EVR_AT) | bit(EVR_CS) | bit(EVR_DA) |
                                      bit(EVR_DS) | bit(EVR_DT) | bit(EVR_FD) | bit(EVR_FL) | bit(EVR_IS) |
                                      bit(EVR_LO) | bit(EVR_LT) | bit(EVR_PN) | bit(EVR_SH) | bit(EVR_SL) |
                                      bit(EVR_SS) | bit(EVR_ST) | bit(EVR_TM) | bit(EVR_UI) | bit(EVR_UL) | bit(EVR_US);
    return (kCommon >> header.vr & 1) != 0 ? ElementContent::Value : contentOfUncommon(header);
}

/// The content of an element of undefined length.
ElementContent contentOfUndefined(const ElementHeader& header, const ElementContext& context);

/// Reads text as DCMTK does: up to the first zero byte. Reads only the beginning of a long text; it is longer than any
/// text that matters. Consumes a part of the value, or all of it.
/// @return nothing for a value that is empty or not text
std::optional<std::string> readText(ByteSource& source, const ElementHeader& header);

} // namespace radvex
