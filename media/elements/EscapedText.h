#pragma once

#include <string>
#include <string_view>

namespace radvex::media {

/// Text that changes its character set by escape sequences (PS3.3, C.12.1.1.2), as UTF-8. Every set of the standard is
/// read, whether the file names it or not: DCMTK's conversion knows no Japanese set of two bytes when it uses ICU, and
/// refuses escapes that the file does not announce. What is no character becomes U+FFFD.
/// @param bytes         of a type that has a character set
/// @param characterSet  value of SpecificCharacterSet; its first set holds before the first escape
/// @param delimiters    characters behind which that set holds again
std::string utf8FromEscapes(std::string_view bytes, std::string_view characterSet, std::string_view delimiters);

} // namespace radvex::media
