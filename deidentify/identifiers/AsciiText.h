#pragma once

#include <string>
#include <string_view>

namespace radvex::deidentify {

// Letters and digits of ASCII, whatever the locale. Other bytes stay as they are and are neither.

inline bool isDigit(char character) { return character >= '0' && character <= '9'; }
inline bool isCapital(char character) { return character >= 'A' && character <= 'Z'; }

bool isAscii(std::string_view text);

std::string smallLetters(std::string_view text);
std::string capitals(std::string_view text);

/// The text without the spaces, control characters and nulls around it.
std::string_view trimmed(std::string_view text);

} // namespace radvex::deidentify
