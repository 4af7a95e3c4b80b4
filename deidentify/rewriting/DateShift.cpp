#include "deidentify/rewriting/DateShift.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>

#include "deidentify/rewriting/Pseudonyms.h"

namespace radvex::deidentify {

namespace {

int numberAt(const std::string& digits, std::size_t begin, std::size_t count) {
    return std::stoi(digits.substr(begin, count));
}

std::size_t countDigits(std::string_view text) {
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    return static_cast<std::size_t>(std::ranges::find_if_not(text, isDigit) - text.begin());
}

/// A year, month, day, hour, minute and second from the left, a fraction of the second, and an offset from UTC. Other
/// text behind a date, such as a second date, may not stay beside a moved one.
bool isDateTime(std::string_view text) {
    constexpr std::size_t kSecond = 14;
    const std::size_t digits = countDigits(text);
    if (digits < 4 || digits > kSecond || digits % 2 != 0) {
        return false;
    }
    text.remove_prefix(digits);
    if (digits == kSecond && text.starts_with('.')) {
        const std::size_t fraction = countDigits(text.substr(1));
        if (fraction < 1 || fraction > 6) {
            return false;
        }
        text.remove_prefix(1 + fraction);
    }
    const bool isOffset = (text.starts_with('+') || text.starts_with('-')) && text.size() == 5;
    return text.empty() || (isOffset && countDigits(text.substr(1)) == 4);
}

std::optional<std::string> shiftOne(std::string text, int days) {
    if (text.size() == 10 && text[4] == '.' && text[7] == '.') {
        text.erase(7, 1).erase(4, 1); // the form before DICOM 3.0
    }
    if (!isDateTime(text)) {
        return std::nullopt;
    }
    const std::size_t digits = countDigits(text);
    using namespace std::chrono;
    const std::size_t dated = std::min<std::size_t>(digits, 8);
    const unsigned monthNumber = dated >= 6 ? static_cast<unsigned>(numberAt(text, 4, 2)) : 7;
    const unsigned dayNumber = dated >= 8 ? static_cast<unsigned>(numberAt(text, 6, 2)) : dated == 6 ? 15 : 1;
    const year_month_day before{year(numberAt(text, 0, 4)), month(monthNumber), day(dayNumber)};
    constexpr year kFirst{1000}; // no year of four digits would be left
    if (!before.ok() || before.year() < kFirst) {
        return std::nullopt;
    }
    const year_month_day after{sys_days(before) + std::chrono::days(days)};
    if (after.year() > year{9999}) {
        return std::nullopt;
    }
    char moved[32];
    std::snprintf(moved, sizeof moved, "%04d%02u%02u", static_cast<int>(after.year()),
                  static_cast<unsigned>(after.month()), static_cast<unsigned>(after.day()));
    return std::string(moved).substr(0, dated) + text.substr(dated);
}

} // namespace

std::optional<std::string> shiftDates(const std::string& value, int days) {
    std::string result;
    for (std::size_t begin = 0; begin <= value.size();) {
        const std::size_t end = std::min(value.find('\\', begin), value.size());
        const std::string part(withoutPadding(std::string_view(value).substr(begin, end - begin)));
        const auto moved = part.empty() ? part : shiftOne(part, days);
        if (!moved) {
            return std::nullopt;
        }
        result += (begin > 0 ? "\\" : "") + *moved;
        begin = end + 1;
    }
    return result;
}

} // namespace radvex::deidentify
