#pragma once

#include <string>
#include <string_view>

namespace radvex::formats {

bool isAscii(std::string_view text);
bool isValidUtf8(std::string_view text);

/// Text that is safe to print: bytes that are not valid UTF-8 become U+FFFD, control characters become \u00XX.
std::string printable(std::string_view text);

/// The shortest text that reads back as the same number.
std::string shortestText(double number);

/// "1 file", "3 files".
std::string counted(std::size_t count, const char* one, const char* several);

/// The text padded with spaces, so that what follows begins at a column; ": " follows a text that is too long for it.
std::string withColumn(std::string text, std::size_t column);

/// The first ASCII letters and digits of a text, at most `longest`: they are safe in file names everywhere.
std::string fileNamePart(std::string_view text, std::size_t longest);

/// The printable start of a text; if it was cut, also the size of the text in bytes.
std::string shortened(std::string_view text, std::size_t limit = 64);

} // namespace radvex::formats
