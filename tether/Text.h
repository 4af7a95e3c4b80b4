#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tether {

/// Text travels as well-formed UTF-8. Conversions from and to the other encodings of velmora/Tether.h; each gives
/// false for text that is not well formed or that the encoding cannot hold, and then leaves no defined output.
bool isUTF8(std::string_view text);

bool fromBytes(const unsigned char* text, std::size_t length, std::string& utf8);
bool fromUTF16(const std::uint16_t* text, std::size_t length, std::string& utf8);
bool fromUCS2(const std::uint16_t* text, std::size_t length, std::string& utf8);
bool fromUTF32(const std::uint32_t* text, std::size_t length, std::string& utf8);

bool toBytes(std::string_view utf8, std::vector<unsigned char>& text);
bool toUTF16(std::string_view utf8, std::vector<std::uint16_t>& text);
bool toUCS2(std::string_view utf8, std::vector<std::uint16_t>& text);
bool toUTF32(std::string_view utf8, std::vector<std::uint32_t>& text);

} // namespace tether
