#pragma once

#include <optional>
#include <string>

#include "ElementHeader.h"

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

/// What decides an element's content beside its header.
struct ElementSurroundings {
    bool isPrivatePixelData = false; ///< by the dictionary, with the creator that the item names
    bool isCheckedForVr = false;     ///< of an item in implicit VR: DCMTK then settles VRs that depend on others
    bool hasWaveformBits = false;    ///< the item states the bits of its waveform before
};

ElementContent contentOf(const ElementHeader& header, const ElementSurroundings& surroundings);

/// Reads text as DCMTK gives it, up to the first zero byte; from a text of any length the beginning, which is longer
/// than any text that matters. Moves over some of the value, or all of it.
/// @return nothing for a value that is empty or no text
std::optional<std::string> readText(ByteSource& source, const ElementHeader& header);

} // namespace radvex
