#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace radvex::cli {

/// KEYWORD=VALUE as the user gave it.
struct Assignment {
    std::string keyword{};
    std::string value{}; ///< several values have a backslash between them
    std::string label{}; ///< what messages call it: "--tag PatientName=Doe"
};

/// Splits the word of an option at its first '='. The value may be empty.
/// @throws UsageError  there is no keyword or no '=', or the text is not UTF-8
Assignment parseAssignment(const std::string& option, const std::string& word);

/// The number that the whole text stands for; nothing for any other text.
template <typename Number>
std::optional<Number> parseNumber(const std::string& text) {
    Number number{};
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    return error == std::errc{} && end == last ? std::optional(number) : std::nullopt;
}

/// The texts with commas between them.
template <typename Texts>
std::string joined(const Texts& texts) {
    std::string all;
    for (const std::string_view text : texts) {
        all.append(all.empty() ? "" : ", ").append(text);
    }
    return all;
}

/// Group and element of "gggg,eeee" or "ggggeeee" (hexadecimal, with or without parentheses). Nothing for any other
/// text without a comma, which is a keyword.
/// @throws UsageError  a text with a comma that is not a tag
std::optional<std::pair<std::string, std::string>> parseTagNumber(const std::string& text);

} // namespace radvex::cli
