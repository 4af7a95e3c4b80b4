// Text in the six encodings.

#include <cstring>

#include "tether/Link.h"
#include "tether/Text.h"

using tether::guarded;
using tether::Token;

namespace {

/// `decode` turns the units into UTF-8.
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

/// `encode` turns UTF-8 into the units.
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

bool fromUTF8(const unsigned char* text, std::size_t length, std::string& utf8) {
    utf8.assign(reinterpret_cast<const char*>(text), length);
    return tether::isUTF8(utf8);
}

bool toUTF8(std::string_view utf8, std::vector<unsigned char>& text) {
    text.assign(utf8.begin(), utf8.end());
    return true;
}

} // namespace

int TTPutString(TTLink link, const char* text) {
    return guarded(link, __func__, [&] {
        if (text == nullptr) {
            return static_cast<int>(TTE_NULL);
        }
        if (!tether::isUTF8(text)) {
            return static_cast<int>(TTE_ENCODING);
        }
        return link->outgoing->write(Token{Token::Kind::string, text});
    });
}

int TTGetString(TTLink link, const char** text) {
    return guarded(link, __func__, [&] {
        if (text == nullptr) {
            return static_cast<int>(TTE_NULL);
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

void TTReleaseString(TTLink link, const char* text) {
    if (link != nullptr) {
        link->environment->releaseBuffer(text);
    }
}

#define TETHER_TEXT(Name, Unit, decode, encode)                                                                        \
    int TTPut##Name##String(TTLink link, const Unit* text, int length) {                                               \
        return guarded(link, __func__, [&] { return putUnits(link, text, length, decode); });                          \
    }                                                                                                                  \
    int TTGet##Name##String(TTLink link, const Unit** text, int* length) {                                             \
        return guarded(link, __func__, [&] { return getUnits(link, text, length, encode); });                          \
    }                                                                                                                  \
    void TTRelease##Name##String(TTLink link, const Unit* text, int /*length*/) {                                      \
        if (link != nullptr) {                                                                                         \
            link->environment->releaseBuffer(text);                                                                    \
        }                                                                                                              \
    }

TETHER_TEXT(Byte, unsigned char, tether::fromBytes, tether::toBytes)
TETHER_TEXT(UTF8, unsigned char, fromUTF8, toUTF8)
TETHER_TEXT(UTF16, uint16_t, tether::fromUTF16, tether::toUTF16)
TETHER_TEXT(UCS2, uint16_t, tether::fromUCS2, tether::toUCS2)
TETHER_TEXT(UTF32, uint32_t, tether::fromUTF32, tether::toUTF32)
