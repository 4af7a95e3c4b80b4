#include "deidentify/identifiers/AsciiText.h"

#include <algorithm>

namespace radvex::deidentify {

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

std::string smallLetters(std::string_view text) {
    std::string small(text);
    std::ranges::transform(small, small.begin(), [](char character) {
        return isCapital(character) ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return small;
}

std::string capitals(std::string_view text) {
    std::string large(text);
    std::ranges::transform(large, large.begin(), [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
    });
    return large;
}

std::string_view trimmed(std::string_view text) {
    const auto isPadding = [](char byte) { return byte >= '\0' && byte <= ' '; };
    while (!text.empty() && isPadding(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isPadding(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace radvex::deidentify
