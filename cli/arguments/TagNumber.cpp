#include "cli/arguments/TagNumber.h"

#include <algorithm>
#include <cctype>

#include "cli/Session.h"

namespace radvex::cli {

namespace {

bool isHexadecimal(const std::string& text) {
    return !text.empty() && text.size() <= 4 &&
           std::all_of(text.begin(), text.end(), [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

} // namespace

std::optional<std::pair<std::string, std::string>> parseTagNumber(const std::string& text) {
    std::string number = text;
    if (number.size() > 2 && number.front() == '(' && number.back() == ')') {
        number = number.substr(1, number.size() - 2);
    }
    const std::size_t comma = number.find(',');
    if (comma == std::string::npos) {
        return std::nullopt;
    }
    std::pair<std::string, std::string> tag{number.substr(0, comma), number.substr(comma + 1)};
    if (!isHexadecimal(tag.first) || !isHexadecimal(tag.second)) {
        throw UsageError("'" + text +
                         "' is no tag: a group and an element of up to four hexadecimal digits are "
                         "expected, such as 0010,0010.");
    }
    return tag;
}

std::pair<std::string, std::string> requireTagNumber(const std::string& text) {
    const auto tag = parseTagNumber(text);
    if (!tag) {
        throw UsageError("'" + text + "' is no tag number: write group,element in hexadecimal, such as 0010,0010.");
    }
    return *tag;
}

} // namespace radvex::cli
