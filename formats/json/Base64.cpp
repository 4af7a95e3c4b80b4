#include "formats/json/Base64.h"

#include <cstdint>
#include <stdexcept>

namespace radvex::formats {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::uint32_t digitValue(char digit) {
    const std::size_t value = kDigits.find(digit);
    if (value == std::string_view::npos) {
        throw std::invalid_argument("The base64 text contains a character that base64 does not have.");
    }
    return static_cast<std::uint32_t>(value);
}

} // namespace

std::string toBase64(std::span<const std::byte> bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - start);
        std::uint32_t group = 0;
        for (std::size_t offset = 0; offset < 3; ++offset) {
            group = (group << 8) | (offset < count ? std::to_integer<std::uint32_t>(bytes[start + offset]) : 0);
        }
        for (std::size_t digit = 0; digit < 4; ++digit) {
            text += digit <= count ? kDigits[(group >> (18 - 6 * digit)) & 0x3F] : '=';
        }
    }
    return text;
}

std::vector<std::byte> fromBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        throw std::invalid_argument("The length of the base64 text is not a multiple of 4.");
    }
    std::vector<std::byte> bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t start = 0; start < text.size(); start += 4) {
        const std::string_view four = text.substr(start, 4);
        const bool isLast = start + 4 == text.size();
        const std::size_t digits = !isLast ? 4 : four.ends_with("==") ? 2 : four.ends_with('=') ? 3 : 4;
        std::uint32_t group = 0;
        for (std::size_t digit = 0; digit < 4; ++digit) {
            group = (group << 6) | (digit < digits ? digitValue(four[digit]) : 0);
        }
        for (std::size_t offset = 0; offset + 1 < digits; ++offset) {
            bytes.push_back(static_cast<std::byte>(group >> (16 - 8 * offset)));
        }
    }
    return bytes;
}

} // namespace radvex::formats
