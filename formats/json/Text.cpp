#include "formats/json/Text.h"

#include <cstdint>
#include <cstdio>

namespace radvex::formats {

namespace {

/// Bytes of the well-formed character at the start of `text`, 0 when there is none (RFC 3629).
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                               : (lead & 0xF0) == 0xE0        ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || text.size() < length) {
        return 0;
    }
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool isWrong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                         (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F);
    return isWrong ? 0 : length;
}

} // namespace

bool isAscii(std::string_view text) {
    unsigned char bits = 0;
    for (const char character : text) {
        bits |= static_cast<unsigned char>(character);
    }
    return bits < 0x80;
}

bool isValidUtf8(std::string_view text) {
    if (isAscii(text)) { // nearly all text is
        return true;
    }
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string printable(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        const auto byte = static_cast<unsigned char>(text.front());
        if (length == 0) {
            shown += "\xEF\xBF\xBD";
        } else if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", byte);
            shown += escape;
        } else {
            shown.append(text.substr(0, length));
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return shown;
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
