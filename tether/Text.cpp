#include "tether/Text.h"

namespace tether {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

constexpr bool isSurrogate(std::uint32_t codePoint) { return codePoint >= 0xD800 && codePoint <= 0xDFFF; }
constexpr bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// Decodes the character at `index` and moves behind it; false for anything that is not well-formed UTF-8.
bool nextCodePoint(std::string_view text, std::size_t& index, std::uint32_t& codePoint) {
    const auto lead = static_cast<unsigned char>(text[index]);
    if (lead < 0x80) {
        codePoint = lead;
        ++index;
        return true;
    }
    std::size_t length = 0;
    std::uint32_t smallest = 0; // anything below it is an overlong form
    if ((lead & 0xE0) == 0xC0) {
        length = 2, smallest = 0x80, codePoint = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, smallest = 0x800, codePoint = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, smallest = 0x10000, codePoint = lead & 0x07;
    } else {
        return false;
    }
    if (text.size() - index < length) {
        return false;
    }
    for (std::size_t offset = 1; offset < length; ++offset) {
        const auto byte = static_cast<unsigned char>(text[index + offset]);
        if (!isContinuation(byte)) {
            return false;
        }
        codePoint = (codePoint << 6) | (byte & 0x3F);
    }
    index += length;
    return codePoint >= smallest && codePoint <= kLastCodePoint && !isSurrogate(codePoint);
}

bool appendCodePoint(std::uint32_t codePoint, std::string& utf8) {
    if (codePoint > kLastCodePoint || isSurrogate(codePoint)) {
        return false;
    }
    const auto append = [&](std::uint32_t byte) { utf8.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        append(codePoint);
    } else if (codePoint < 0x800) {
        append(0xC0 | (codePoint >> 6));
        append(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        append(0xE0 | (codePoint >> 12));
        append(0x80 | ((codePoint >> 6) & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    } else {
        append(0xF0 | (codePoint >> 18));
        append(0x80 | ((codePoint >> 12) & 0x3F));
        append(0x80 | ((codePoint >> 6) & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    }
    return true;
}

template <typename Append>
bool decode(std::string_view utf8, Append append) {
    for (std::size_t index = 0; index < utf8.size();) {
        std::uint32_t codePoint = 0;
        if (!nextCodePoint(utf8, index, codePoint) || !append(codePoint)) {
            return false;
        }
    }
    return true;
}

template <typename Unit>
bool encodeEach(const Unit* text, std::size_t length, std::string& utf8) {
    for (std::size_t index = 0; index < length; ++index) {
        if (!appendCodePoint(text[index], utf8)) {
            return false;
        }
    }
    return true;
}

template <typename Unit>
bool decodeUpTo(std::uint32_t last, std::string_view utf8, std::vector<Unit>& text) {
    return decode(utf8, [&](std::uint32_t codePoint) {
        if (codePoint > last) {
            return false;
        }
        text.push_back(static_cast<Unit>(codePoint));
        return true;
    });
}

} // namespace

bool isUTF8(std::string_view text) {
    return decode(text, [](std::uint32_t) { return true; });
}

bool fromBytes(const unsigned char* text, std::size_t length, std::string& utf8) {
    return encodeEach(text, length, utf8);
}

bool fromUCS2(const std::uint16_t* text, std::size_t length, std::string& utf8) {
    return encodeEach(text, length, utf8);
}

bool fromUTF32(const std::uint32_t* text, std::size_t length, std::string& utf8) {
    return encodeEach(text, length, utf8);
}

bool fromUTF16(const std::uint16_t* text, std::size_t length, std::string& utf8) {
    for (std::size_t index = 0; index < length; ++index) {
        std::uint32_t codePoint = text[index];
        if (codePoint >= 0xD800 && codePoint <= 0xDBFF && index + 1 < length && text[index + 1] >= 0xDC00 &&
            text[index + 1] <= 0xDFFF) {
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (text[++index] - 0xDC00U);
        }
        if (!appendCodePoint(codePoint, utf8)) {
            return false;
        }
    }
    return true;
}

bool toBytes(std::string_view utf8, std::vector<unsigned char>& text) { return decodeUpTo(0xFF, utf8, text); }

bool toUCS2(std::string_view utf8, std::vector<std::uint16_t>& text) { return decodeUpTo(0xFFFF, utf8, text); }

bool toUTF32(std::string_view utf8, std::vector<std::uint32_t>& text) { return decodeUpTo(kLastCodePoint, utf8, text); }

bool toUTF16(std::string_view utf8, std::vector<std::uint16_t>& text) {
    return decode(utf8, [&](std::uint32_t codePoint) {
        if (codePoint < 0x10000) {
            text.push_back(static_cast<std::uint16_t>(codePoint));
        } else {
            text.push_back(static_cast<std::uint16_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
            text.push_back(static_cast<std::uint16_t>(0xDC00 + ((codePoint - 0x10000) & 0x3FF)));
        }
        return true;
    });
}

} // namespace tether
