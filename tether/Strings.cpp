// Text in the six encodings of velmora/Tether.h.

#include <cstdint>
#include <vector>

#include <utf8.h>

#include "tether/Link.h"

using tether::guarded;
using tether::Token;

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

/// Calls `append` with each code point until it returns false. @return false then, and for text that is not well formed
template <typename Append>
bool decode(std::string_view text, Append append) {
    if (!tether::isUTF8(text)) {
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

// The conversions to and from UTF-8. Each returns false for text that is not well formed, or that the encoding cannot
// hold; the output is then undefined.

bool fromUTF8(const unsigned char* text, std::size_t length, std::string& utf8) {
    utf8.assign(reinterpret_cast<const char*>(text), length);
    return tether::isUTF8(utf8);
}

bool toUTF8(std::string_view utf8, std::vector<unsigned char>& text) {
    text.assign(utf8.begin(), utf8.end());
    return true;
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

/// Puts text as a string; `decode` turns its units into UTF-8.
template <typename Unit, typename Decode>
int putUnits(TTLink link, const Unit* text, int length, Decode decode) {
    if (length < 0) {
        return TTE_SEQUENCE;
    }
    if (text == nullptr && length > 0) {
        return TTE_NULL;
    }
    Token token{Token::Kind::string};
    if (!decode(text, static_cast<std::size_t>(length), token.text)) {
        return TTE_ENCODING;
    }
    return link->outgoing->write(std::move(token));
}

/// Gets a string as text; `encode` turns UTF-8 into its units.
template <typename Unit, typename Encode>
int getUnits(TTLink link, const Unit** text, int* length, Encode encode) {
    if (text == nullptr || length == nullptr) {
        return TTE_NULL;
    }
    return tether::readToken(link, Token::Kind::string, [&](const Token& token) {
        std::vector<Unit> units;
        if (!encode(token.text, units)) {
            return TTE_ENCODING;
        }
        *text = tether::newTextBuffer(link, units.data(), units.size());
        *length = static_cast<int>(units.size());
        return *text == nullptr ? TTE_MEMORY : TTE_OK;
    });
}

} // namespace

bool tether::isUTF8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

int TTPutString(TTLink link, const char* text) {
    return guarded(link, __func__, [&]() -> int {
        if (text == nullptr) {
            return TTE_NULL;
        }
        if (!tether::isUTF8(text)) {
            return TTE_ENCODING;
        }
        return link->outgoing->write(Token{Token::Kind::string, text});
    });
}

int TTGetString(TTLink link, const char** text) {
    return guarded(link, __func__, [&]() -> int {
        if (text == nullptr) {
            return TTE_NULL;
        }
        return tether::readToken(link, Token::Kind::string, [&](const Token& token) {
            if (token.text.find('\0') != std::string::npos) {
                return TTE_ENCODING; // the zero byte ends this encoding's text
            }
            *text = tether::newTextBuffer(link, token.text.data(), token.text.size());
            return *text == nullptr ? TTE_MEMORY : TTE_OK;
        });
    });
}

void TTReleaseString(TTLink link, const char* text) { tether::release(link, text); }

#define TETHER_TEXT(Name, Unit, decode, encode)                                                                        \
    int TTPut##Name##String(TTLink link, const Unit* text, int length) {                                               \
        return guarded(link, __func__, [&] { return putUnits(link, text, length, decode); });                          \
    }                                                                                                                  \
    int TTGet##Name##String(TTLink link, const Unit** text, int* length) {                                             \
        return guarded(link, __func__, [&] { return getUnits(link, text, length, encode); });                          \
    }                                                                                                                  \
    void TTRelease##Name##String(TTLink link, const Unit* text, int) { tether::release(link, text); }

TETHER_TEXT(Byte, unsigned char, fromBytes, toBytes)
TETHER_TEXT(UTF8, unsigned char, fromUTF8, toUTF8)
TETHER_TEXT(UTF16, uint16_t, fromUTF16, toUTF16)
TETHER_TEXT(UCS2, uint16_t, fromUCS2, toUCS2)
TETHER_TEXT(UTF32, uint32_t, fromUTF32, toUTF32)
