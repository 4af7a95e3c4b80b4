#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Converters.h"

namespace radvex::text {

constexpr char kEscape = 0x1B; // changes the character set within a text

/// A set of coded characters that a text may change to (PS3.3, C.12.1.1.2).
struct CodedSet {
    std::string_view escape; ///< behind the escape character
    std::string_view number; ///< of the set in SpecificCharacterSet: "ISO 2022 IR 87"
    const char* converter;   ///< ICU's name; null for what needs none
    std::size_t bytes;       ///< of a character
    bool isLow;              ///< stands in the place of ASCII: its characters have no highest bit
    bool isFlipped;          ///< the converter wants the highest bits the other way round
};

/// The set that the escape sequence names, which begins behind the escape character; null for one of no known set.
const CodedSet* setOfEscape(std::string_view sequence);

/// Whether the bytes could be characters of the set, known to it or not: none is cut, none lacks its highest bit.
bool isFormed(const CodedSet& set, std::string_view bytes);
/// Characters of the set as UTF-8; nothing when one of them is none.
std::optional<std::string> decoded(const CodedSet& set, std::string_view bytes, Converters& converters);
/// One character in the set; nothing when the set lacks it.
std::optional<std::string> encoded(const CodedSet& set, std::string_view character, Converters& converters);

/// What SpecificCharacterSet says.
struct DeclaredSets {
    const CodedSet* low = nullptr;  ///< of the first value: ASCII, or its Japanese variant
    const CodedSet* high = nullptr; ///< of the first value, for bytes with the highest bit; null: there are none
    std::vector<const CodedSet*> changes{}; ///< what texts may change to, in the order of the values
    const char* whole = nullptr;            ///< ICU's name of an encoding that goes without sets: UTF-8, GB18030, GBK
    bool isKnown = true;                    ///< false when one of the values means nothing to us
};

/// Reads also values with the usual mistakes, such as "ISO-IR 100" or a single "ISO 2022 IR 149".
DeclaredSets declaredSets(std::string_view characterSet);

/// Bytes of the character of UTF-8 that begins with this byte.
std::size_t bytesOfCharacter(char first);
/// Whether a character of UTF-8 means something only to those who agreed on it.
bool isPrivateUse(std::string_view character);

} // namespace radvex::text
