#pragma once

#include <string>
#include <string_view>

namespace radvex::formats {

bool isAscii(std::string_view text);
bool isValidUtf8(std::string_view text);

/// Text that is safe to show: bytes that are no UTF-8 become U+FFFD, control characters \u00XX.
std::string printable(std::string_view text);

/// "1 file", "3 files".
std::string counted(std::size_t count, const char* one, const char* several);

/// The ASCII letters and digits of a text, `longest` at most: what can stand in a file name anywhere.
std::string fileNamePart(std::string_view text, std::size_t longest);

/// The first characters of a long text and how many bytes it has.
std::string shortened(std::string_view text, std::size_t limit = 64);

} // namespace radvex::formats
