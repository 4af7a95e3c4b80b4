#include "cli/arguments/Words.h"

#include <algorithm>
#include <cctype>

#include "files/Errors.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

bool isHexadecimal(const std::string& text) {
    return !text.empty() && text.size() <= 4 &&
           std::all_of(text.begin(), text.end(), [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

} // namespace

Assignment parseAssignment(const std::string& option, const std::string& word) {
    const std::string label = option + ' ' + formats::shortened(word);
    const std::size_t sign = word.find('=');
    if (sign == std::string::npos || sign == 0) {
        throw UsageError(label + ": KEYWORD=VALUE is expected, such as PatientName=Doe^Jane.");
    }
    if (!formats::isValidUtf8(word)) {
        throw UsageError(label + ": the text is not UTF-8.");
    }
    return {word.substr(0, sign), word.substr(sign + 1), label};
}

std::optional<std::pair<std::string, std::string>> parseTagNumber(const std::string& text) {
    std::string number = text;
    if (number.size() > 2 && number.front() == '(' && number.back() == ')') {
        number = number.substr(1, number.size() - 2);
    }
    const std::size_t comma = number.find(',');
    if (comma == std::string::npos) {
        // No keyword consists of eight hexadecimal digits.
        return number.size() == 8 && isHexadecimal(number.substr(0, 4)) && isHexadecimal(number.substr(4))
                   ? std::optional(std::pair(number.substr(0, 4), number.substr(4)))
                   : std::nullopt;
    }
    std::pair<std::string, std::string> tag{number.substr(0, comma), number.substr(comma + 1)};
    if (!isHexadecimal(tag.first) || !isHexadecimal(tag.second)) {
        throw UsageError(
            "'" + text +
            "' is not a tag: a group and an element of up to four hexadecimal digits are expected, such as "
            "0010,0010.");
    }
    return tag;
}

} // namespace radvex::cli
