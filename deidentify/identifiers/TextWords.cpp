#include "deidentify/identifiers/TextWords.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <array>

namespace radvex::deidentify {

namespace {

struct Class {
    bool isWord = false;
    bool isLetter = false;
    bool isUnspaced = false;
};

bool isUnspacedScript(char32_t code) {
    if (code >= 0x3041 && code <= 0x30FF) {
        return true; // the mark of long vowels has no script of its own
    }
    UErrorCode error = U_ZERO_ERROR;
    constexpr std::array kScripts{USCRIPT_HAN,  USCRIPT_HIRAGANA, USCRIPT_KATAKANA, USCRIPT_HANGUL, USCRIPT_BOPOMOFO,
                                  USCRIPT_THAI, USCRIPT_LAO,      USCRIPT_KHMER,    USCRIPT_MYANMAR};
    const UScriptCode script = uscript_getScript(static_cast<UChar32>(code), &error);
    return std::find(kScripts.begin(), kScripts.end(), script) != kScripts.end();
}

Class classOf(char32_t code) {
    if (code < 0x80) {
        const bool isLetter = (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z');
        return {isLetter || (code >= '0' && code <= '9'), isLetter, false};
    }
    const std::uint32_t category = U_GET_GC_MASK(static_cast<UChar32>(code));
    const bool isLetter = (category & (U_GC_L_MASK | U_GC_M_MASK)) != 0;
    const bool isWord = isLetter || (category & U_GC_N_MASK) != 0;
    return {isWord, isLetter, isWord && isUnspacedScript(code)};
}

/// Whether the dot at an offset stands between digits.
bool isDotInNumber(std::string_view text, std::size_t offset) {
    return text[offset] == '.' && offset > 0 && offset + 1 < text.size() && isDigit(text[offset - 1]) &&
           isDigit(text[offset + 1]);
}

} // namespace

TextWords::TextWords(std::string_view utf8) : mFolded(utf8) {
    const std::string_view text = mFolded.text();
    bool isOpen = false; // the last word goes on
    for (std::size_t offset = 0; offset < text.size();) {
        const Character character = characterAt(text, offset);
        const Class kind = classOf(character.code);
        if (kind.isWord || (isOpen && isDotInNumber(text, offset))) {
            if (!isOpen || kind.isUnspaced) {
                mWords.push_back({offset, offset, 0, kind.isUnspaced, false});
            }
            Word& word = mWords.back();
            word.end = offset + character.size;
            ++word.characters;
            word.hasLetter = word.hasLetter || kind.isLetter;
        }
        isOpen = (kind.isWord && !kind.isUnspaced) || (isOpen && isDotInNumber(text, offset));
        offset += character.size;
    }
}

bool isNumber(std::string_view text) { return !text.empty() && std::all_of(text.begin(), text.end(), isDigit); }

} // namespace radvex::deidentify
