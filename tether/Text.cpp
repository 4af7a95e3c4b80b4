#include "tether/Text.h"

#include <utf8.h>

namespace tether {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

constexpr bool isSurrogate(std::uint32_t codePoint) { return codePoint >= 0xD800 && codePoint <= 0xDFFF; }
bool appendCodePoint(std::uint32_t codePoint, std::string& encoded) {
    if (codePoint > kLastCodePoint || isSurrogate(codePoint)) {
        return false;
    }
    utf8::append(static_cast<char32_t>(codePoint), encoded);
    return true;
}

/// Calls `append` with each character; false for text that is not well-formed, and once `append` says so.
template <typename Append>
bool decode(std::string_view text, Append append) {
    if (!utf8::is_valid(text.begin(), text.end())) {
        return false;
    }
    for (auto next = text.begin(); next != text.end();) {
        if (!append(static_cast<std::uint32_t>(utf8::unchecked::next(next)))) {
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

bool isUTF8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

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
