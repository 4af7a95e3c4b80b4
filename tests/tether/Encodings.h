#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/tether/TetherTest.h"

namespace tether::test {

/// The six ways to put and get text.
enum class Encoding { native, byte, utf8, utf16, ucs2, utf32 };
inline constexpr Encoding kEncodings[] = {Encoding::native, Encoding::byte, Encoding::utf8,
                                          Encoding::utf16,  Encoding::ucs2, Encoding::utf32};

inline const char* nameOf(Encoding encoding) {
    static constexpr const char* names[] = {"native", "Byte", "UTF8", "UTF16", "UCS2", "UTF32"};
    return names[static_cast<int>(encoding)];
}

/// Units of any encoding, each widened.
using Units = std::vector<std::uint32_t>;

namespace detail {

template <typename Unit>
std::vector<Unit> narrowed(const Units& units) {
    std::vector<Unit> narrow;
    for (const std::uint32_t unit : units) {
        narrow.push_back(static_cast<Unit>(unit));
    }
    return narrow;
}

template <typename Unit>
int putWith(int (*put)(TTLink, const Unit*, int), TTLink link, const Units& units) {
    const std::vector<Unit> text = narrowed<Unit>(units);
    return put(link, text.data(), static_cast<int>(text.size()));
}

template <typename Unit>
std::optional<Units> getWith(int (*get)(TTLink, const Unit**, int*), void (*release)(TTLink, const Unit*, int),
                             TTLink link) {
    const Unit* text = nullptr;
    int length = -1;
    if (get(link, &text, &length) == 0) {
        return std::nullopt;
    }
    EXPECT_EQ(text[length], Unit{0}) << "the unit behind the text";
    Units units(text, text + length);
    release(link, text, length);
    return units;
}

} // namespace detail

inline int putText(TTLink link, Encoding encoding, const Units& units) {
    switch (encoding) {
    case Encoding::native: {
        std::string text;
        for (const std::uint32_t unit : units) {
            text.push_back(static_cast<char>(unit));
        }
        return TTPutString(link, text.c_str());
    }
    case Encoding::byte: return detail::putWith(TTPutByteString, link, units);
    case Encoding::utf8: return detail::putWith(TTPutUTF8String, link, units);
    case Encoding::utf16: return detail::putWith(TTPutUTF16String, link, units);
    case Encoding::ucs2: return detail::putWith(TTPutUCS2String, link, units);
    case Encoding::utf32: return detail::putWith(TTPutUTF32String, link, units);
    }
    return 0;
}

/// The units read, nothing on failure.
inline std::optional<Units> getText(TTLink link, Encoding encoding) {
    switch (encoding) {
    case Encoding::native: {
        const char* text = nullptr;
        if (TTGetString(link, &text) == 0) {
            return std::nullopt;
        }
        Units units;
        for (const char* byte = text; *byte != '\0'; ++byte) {
            units.push_back(static_cast<unsigned char>(*byte));
        }
        TTReleaseString(link, text);
        return units;
    }
    case Encoding::byte: return detail::getWith(TTGetByteString, TTReleaseByteString, link);
    case Encoding::utf8: return detail::getWith(TTGetUTF8String, TTReleaseUTF8String, link);
    case Encoding::utf16: return detail::getWith(TTGetUTF16String, TTReleaseUTF16String, link);
    case Encoding::ucs2: return detail::getWith(TTGetUCS2String, TTReleaseUCS2String, link);
    case Encoding::utf32: return detail::getWith(TTGetUTF32String, TTReleaseUTF32String, link);
    }
    return std::nullopt;
}

} // namespace tether::test
