#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace radvex::formats {

/// RFC 4648 with padding.
std::string toBase64(std::span<const std::byte> bytes);
/// @throws std::invalid_argument  a sentence: the text is not base64
std::vector<std::byte> fromBase64(std::string_view text);

} // namespace radvex::formats
