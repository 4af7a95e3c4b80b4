#pragma once

#include <optional>
#include <string>
#include <utility>

namespace radvex::cli {

/// Group and element of "gggg,eeee" (hexadecimal, with or without parentheses). Nothing for text without a comma,
/// which is a keyword.
/// @throws UsageError  for text with a comma that is no tag
std::optional<std::pair<std::string, std::string>> parseTagNumber(const std::string& text);

/// The same for a place where only a number can stand. @throws UsageError
std::pair<std::string, std::string> requireTagNumber(const std::string& text);

} // namespace radvex::cli
