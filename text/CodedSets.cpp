#include "text/CodedSets.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace radvex::text {

namespace {

constexpr std::array<CodedSet, 19> kSets{{
    {"(B", "6", nullptr, 1, true, false},         {"(J", "14", nullptr, 1, true, false}, // but for two signs
    {")I", "13", nullptr, 1, false, false},       {"$B", "87", "EUC-JP", 2, true, true},
    {"$@", "", "EUC-JP", 2, true, true}, // an earlier edition of the same
    {"$(D", "159", "jisx-212", 2, true, false},   {"$)C", "149", "windows-949", 2, false, false},
    {"$)A", "58", "ibm-5478", 2, false, true},    {"-A", "100", "ISO-8859-1", 1, false, false},
    {"-B", "101", "ISO-8859-2", 1, false, false}, {"-C", "109", "ISO-8859-3", 1, false, false},
    {"-D", "110", "ISO-8859-4", 1, false, false}, {"-L", "144", "ISO-8859-5", 1, false, false},
    {"-G", "127", "ISO-8859-6", 1, false, false}, {"-F", "126", "ISO-8859-7", 1, false, false},
    {"-H", "138", "ISO-8859-8", 1, false, false}, {"-M", "148", "ISO-8859-9", 1, false, false},
    {"-T", "166", "TIS-620", 1, false, false},    {"-b", "203", "ISO-8859-15", 1, false, false},
}};

const CodedSet& kAscii = kSets[0];
const CodedSet& kRomaji = kSets[1];
const CodedSet& kKatakana = kSets[2];
const CodedSet& kKanji = kSets[3];
const CodedSet& kChinese = kSets[7];

/// Where ICU's tables are those of a vendor and not those of the standard's sets.
struct Mapping {
    const CodedSet* set;
    std::string_view icu;
    std::string_view standard;
};

const std::array<Mapping, 7> kMappings{{
    {&kKanji, "\xEF\xBD\x9E", "\xE3\x80\x9C"}, // wave dash
    {&kKanji, "\xE2\x88\xA5", "\xE2\x80\x96"}, // double vertical line
    {&kKanji, "\xEF\xBC\x8D", "\xE2\x88\x92"}, // minus sign
    {&kKanji, "\xEF\xBF\xA0", "\xC2\xA2"},     // cent sign
    {&kKanji, "\xEF\xBF\xA1", "\xC2\xA3"},     // pound sign
    {&kKanji, "\xEF\xBF\xA2", "\xC2\xAC"},     // not sign
    {&kChinese, "\xC2\xB4", "\xEF\xBC\x87"},   // apostrophe
}};

/// Both editions of a set have the characters of one.
bool isSameSet(const CodedSet& one, const CodedSet& other) {
    return one.converter != nullptr && one.converter == other.converter;
}

/// As the standard maps the characters; nothing when one is no character of it.
std::optional<std::string> standardText(const CodedSet& set, std::string_view icu) {
    std::string text;
    for (std::size_t at = 0; at < icu.size();) {
        std::string_view character = icu.substr(at, bytesOfCharacter(icu[at]));
        at += character.size();
        if (isPrivateUse(character)) { // only ICU has it here
            return std::nullopt;
        }
        const auto* mapping = std::ranges::find_if(
            kMappings, [&](const Mapping& one) { return isSameSet(*one.set, set) && one.icu == character; });
        text += mapping == kMappings.end() ? character : mapping->standard;
    }
    return text;
}

std::string flipped(const CodedSet& set, std::string_view bytes) {
    std::string result(bytes);
    if (set.isFlipped) {
        std::ranges::transform(result, result.begin(), [](char byte) { return static_cast<char>(byte ^ '\x80'); });
    }
    return result;
}

bool isHigh(char byte) { return static_cast<signed char>(byte) < 0; }

/// Half-width katakana stand in Unicode in the order of their set.
std::optional<std::string> katakanaText(std::string_view bytes) {
    constexpr unsigned kFirst = 0xFF61;
    std::string text;
    for (const char byte : bytes) {
        const unsigned code = kFirst + static_cast<unsigned char>(byte) - 0xA1;
        if (static_cast<unsigned char>(byte) < 0xA1 || static_cast<unsigned char>(byte) > 0xDF) {
            return std::nullopt;
        }
        text += {'\xEF', static_cast<char>(0x80 | (code >> 6U & 0x3FU)), static_cast<char>(0x80 | (code & 0x3FU))};
    }
    return text;
}

std::optional<std::string> katakanaBytes(std::string_view character) {
    if (character < "\xEF\xBD\xA1" || character > "\xEF\xBE\x9F" || character.size() != 3) {
        return std::nullopt;
    }
    const auto low = [&](std::size_t index) { return static_cast<unsigned char>(character[index]) & 0x3FU; };
    return std::string(1, static_cast<char>((low(1) << 6U | low(2)) - 0xF61 + 0xA1));
}

/// Whether every reader has the bytes in its table of the set: converters know characters that vendors added.
bool isOfStandard(const CodedSet& set, std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes.front());
    if (set.number == "87") {
        return first <= 0x28 || (first >= 0x30 && first <= 0x74);
    }
    return set.number != "166" || first > 0xA0;
}

/// The value without its mistakes: "87" of "ISO 2022 IR 87" and of "ISO_2022-IR_87", "GBK".
std::string numberOf(std::string_view value) {
    std::string text;
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0) {
            text += static_cast<char>(std::toupper(byte));
        } else if (character != ' ' && character != '_' && character != '-' && character != '\0') {
            return "?";
        }
    }
    for (const std::string_view prefix : {"ISO", "2022", "IR"}) {
        text.erase(0, text.starts_with(prefix) ? prefix.size() : 0);
    }
    return text;
}

const char* wholeEncoding(const std::string& number) {
    return number == "192" ? "UTF-8" : number == "GB18030" ? "GB18030" : number == "GBK" ? "GBK" : nullptr;
}

/// Adds what the first value says, and texts begin with.
void addFirst(DeclaredSets& sets, const CodedSet& set) {
    if (&set == &kKatakana) {
        sets.low = &kRomaji;
    }
    if (!set.isLow) {
        sets.high = &set;
    }
}

} // namespace

std::size_t bytesOfCharacter(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

bool isPrivateUse(std::string_view character) { return character >= "\xEE\x80\x80" && character < "\xEF\xA4\x80"; }

const CodedSet* setOfEscape(std::string_view sequence) {
    const auto* found =
        std::ranges::find_if(kSets, [&](const CodedSet& set) { return sequence.starts_with(set.escape); });
    return found == kSets.end() ? nullptr : found;
}

bool isFormed(const CodedSet& set, std::string_view bytes) {
    return bytes.size() % set.bytes == 0 && std::ranges::all_of(bytes, [&](char byte) {
               const char low = static_cast<char>(byte & 0x7F);
               return isHigh(byte) != set.isLow && (set.bytes == 1 || (low > 0x20 && low < 0x7F));
           });
}

std::optional<std::string> decoded(const CodedSet& set, std::string_view bytes, Converters& converters) {
    if (!isFormed(set, bytes)) {
        return std::nullopt;
    }
    if (set.converter == nullptr) {
        return &set == &kKatakana ? katakanaText(bytes) : std::string(bytes);
    }
    const auto icu = converters.toUtf8(set.converter, flipped(set, bytes));
    return icu ? standardText(set, *icu) : std::nullopt;
}

std::optional<std::string> encoded(const CodedSet& set, std::string_view character, Converters& converters) {
    if (set.converter == nullptr) {
        const bool isAscii = character.size() == 1 && !isHigh(character.front());
        return &set == &kKatakana ? katakanaBytes(character)
               : isAscii          ? std::optional(std::string(character))
                                  : std::nullopt;
    }
    const auto* mapping = std::ranges::find_if(
        kMappings, [&](const Mapping& one) { return isSameSet(*one.set, set) && one.standard == character; });
    auto bytes = converters.fromUtf8(set.converter, mapping == kMappings.end() ? character : mapping->icu);
    if (bytes) {
        *bytes = flipped(set, *bytes);
    }
    // Some converters take a character for a similar one.
    const bool isSame = bytes && bytes->size() == set.bytes && isOfStandard(set, *bytes) &&
                        decoded(set, *bytes, converters) == character;
    return isSame ? bytes : std::nullopt;
}

DeclaredSets declaredSets(std::string_view characterSet) {
    DeclaredSets sets;
    sets.low = &kAscii;
    bool isFirst = true;
    for (std::size_t at = 0; at <= characterSet.size() && sets.whole == nullptr; isFirst = false) {
        const std::size_t end = std::min(characterSet.find('\\', at), characterSet.size());
        const std::string number = numberOf(characterSet.substr(at, end - at));
        at = end + 1;
        const auto* set = std::ranges::find(kSets, number, &CodedSet::number);
        if (isFirst) {
            sets.whole = wholeEncoding(number);
        }
        if (number.empty() || sets.whole != nullptr) {
            continue; // none is ASCII
        }
        if (set == kSets.end() || set == &kRomaji) {
            sets.isKnown = false;
            continue;
        }
        if (isFirst) {
            addFirst(sets, *set);
        }
        if (set != &kAscii) {
            sets.changes.push_back(set);
        }
    }
    return sets;
}

} // namespace radvex::text
