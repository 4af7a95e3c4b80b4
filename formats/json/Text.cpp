#include "formats/json/Text.h"

#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>

namespace radvex::formats {

bool isAscii(std::string_view text) {
    unsigned char bits = 0;
    for (const char character : text) {
        bits |= static_cast<unsigned char>(character);
    }
    return bits < 0x80;
}

bool isValidUtf8(std::string_view text) {
    if (isAscii(text)) { // the usual case, and fast
        return true;
    }
    return utf8::is_valid(text.begin(), text.end());
}

std::string printable(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid)); // by U+FFFD
    std::string shown;
    shown.reserve(valid.size());
    for (const char character : valid) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", byte);
            shown += escape;
        } else {
            shown += character;
        }
    }
    return shown;
}

std::string shortestText(double number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string counted(std::size_t count, const char* one, const char* several) {
    return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

std::string withColumn(std::string text, std::size_t column) {
    if (text.size() >= column) {
        return text.append(": ");
    }
    text.resize(column, ' ');
    return text;
}

std::string fileNamePart(std::string_view text, std::size_t longest) {
    std::string part;
    std::ranges::copy_if(text, std::back_inserter(part), [](char letter) {
        return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
    });
    return part.substr(0, longest);
}

std::string shortened(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return printable(text);
    }
    std::size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
        --cut; // not inside a character
    }
    return printable(text.substr(0, cut)) + "... (" + std::to_string(text.size()) + " bytes)";
}

} // namespace radvex::formats
