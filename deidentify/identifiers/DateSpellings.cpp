#include "deidentify/identifiers/DateSpellings.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace radvex::deidentify {

namespace {

using Seen = std::function<void(const SpelledDate&)>;
using Parts = std::array<std::string_view, 3>;

/// @param digits  a few digits, and nothing else
int valueOf(std::string_view digits) {
    int value = 0;
    for (const char digit : digits) {
        value = value * 10 + (digit - '0');
    }
    return value;
}

bool isNumberOf(std::string_view text, std::size_t fewest, std::size_t most) {
    return text.size() >= fewest && text.size() <= most && isNumber(text);
}

/// 1 to 12 for the name of a month in English or German, in full or in short; 0 for other words.
int monthOf(std::string_view word) {
    using Month = std::pair<std::string_view, int>;
    static constexpr std::array<Month, 37> kMonths{
        {{"jan", 1},      {"january", 1}, {"januar", 1},    {"janner", 1}, {"feb", 2},       {"february", 2},
         {"februar", 2},  {"mar", 3},     {"march", 3},     {"marz", 3},   {"maerz", 3},     {"mrz", 3},
         {"apr", 4},      {"april", 4},   {"may", 5},       {"mai", 5},    {"jun", 6},       {"june", 6},
         {"juni", 6},     {"jul", 7},     {"july", 7},      {"juli", 7},   {"aug", 8},       {"august", 8},
         {"sep", 9},      {"sept", 9},    {"september", 9}, {"oct", 10},   {"october", 10},  {"okt", 10},
         {"oktober", 10}, {"nov", 11},    {"november", 11}, {"dec", 12},   {"december", 12}, {"dez", 12},
         {"dezember", 12}}};
    const auto* found =
        std::find_if(kMonths.begin(), kMonths.end(), [&](const Month& month) { return month.first == word; });
    return found == kMonths.end() ? 0 : found->second;
}

/// The number of "5" and "5th"; 0 for other words.
int dayOf(std::string_view word) {
    for (const std::string_view ending : {"st", "nd", "rd", "th"}) {
        if (word.size() > ending.size() && word.ends_with(ending)) {
            word.remove_suffix(ending.size());
            break;
        }
    }
    return isNumberOf(word, 1, 2) ? valueOf(word) : 0;
}

/// Reads "1970-03-05", "05.03.1970", "3/5/1970" and "03/05/70".
/// @param separator  what stands between all parts
void readNumbers(const Parts& parts, char separator, SpelledDate date, const Seen& seen) {
    const auto& [first, second, third] = parts;
    if (isNumberOf(first, 4, 4) && isNumberOf(second, 2, 2) && isNumberOf(third, 2, 2)) {
        date.year = valueOf(first);
        date.month = valueOf(second);
        date.day = valueOf(third);
        seen(date);
        return;
    }
    const bool isLong = isNumberOf(first, 1, 2) && isNumberOf(second, 1, 2) && isNumberOf(third, 4, 4);
    date.isShort = separator != '-' && isNumberOf(first, 2, 2) && isNumberOf(second, 2, 2) && isNumberOf(third, 2, 2);
    date.hasTwoDigits = date.isShort;
    if (!isLong && !date.isShort) {
        return;
    }
    date.year = valueOf(third);
    date.day = valueOf(first);
    date.month = valueOf(second);
    seen(date);
    if (separator != '.') {
        std::swap(date.day, date.month);
        seen(date);
    }
}

/// Reads "19700305" and the date of "19700305103000.123456". Words of other lengths are numbers.
void readDigits(std::string_view word, SpelledDate date, const Seen& seen) {
    const std::string_view whole = word.substr(0, word.find('.'));
    const bool isDate = word.size() == 8 && isNumber(word);
    const bool isTime = (whole.size() == 10 || whole.size() == 12 || whole.size() == 14) && isNumber(whole) &&
                        word.size() - whole.size() <= 7 && valueOf(whole.substr(8, 2)) < 24;
    if (isDate || isTime) {
        date.year = valueOf(word.substr(0, 4));
        date.month = valueOf(word.substr(4, 2));
        date.day = valueOf(word.substr(6, 2));
        date.end = date.begin + 8;
        seen(date);
    }
}

void readDotted(std::string_view word, const SpelledDate& date, const Seen& seen) {
    const std::size_t first = word.find('.');
    const std::size_t second = first == std::string_view::npos ? first : word.find('.', first + 1);
    if (second != std::string_view::npos) {
        readNumbers({word.substr(0, first), word.substr(first + 1, second - first - 1), word.substr(second + 1)}, '.',
                    date, seen);
    }
}

/// Gives a date with the name of its month its year, of two or four digits.
void readYear(std::string_view word, SpelledDate date, const Seen& seen) {
    if (date.day > 0 && date.month > 0 && (isNumberOf(word, 4, 4) || isNumberOf(word, 2, 2))) {
        date.year = valueOf(word);
        date.hasTwoDigits = word.size() == 2;
        seen(date);
    }
}

/// Reads "05mar1970", whose parts are of 1 or 2 digits, letters and 4 digits.
void readRunTogether(std::string_view word, SpelledDate date, const Seen& seen) {
    const std::size_t month = std::min(word.find_first_not_of("0123456789"), word.size());
    const std::size_t year = std::min(word.find_first_of("0123456789", month), word.size());
    if (month < year && word.size() - year == 4) {
        date.day = dayOf(word.substr(0, month));
        date.month = monthOf(word.substr(month, year - month));
        readYear(word.substr(year), date, seen);
    }
}

bool isShortGap(std::string_view gap) {
    return gap.size() <= 2 && gap.find_first_not_of(" .,-_/") == std::string_view::npos;
}

/// "05" of "05t103000", as times are written after a date.
std::string_view withoutTime(std::string_view word) {
    const bool hasTime = word.size() > 3 && isDigit(word[0]) && isDigit(word[1]) && word[2] == 't' && isDigit(word[3]);
    return hasTime ? word.substr(0, 2) : word;
}

void readThreeWords(const TextWords& words, std::size_t index, SpelledDate date, const Seen& seen) {
    const std::string_view first = words.wordAt(index);
    const std::string_view second = words.wordAt(index + 1);
    const std::string_view third = words.wordAt(index + 2);
    const std::string_view gap = words.gapBefore(index + 1);
    date.end = words[index + 2].end;
    if ((gap == "-" || gap == "/") && gap == words.gapBefore(index + 2)) {
        const std::string_view last = first.size() == 4 ? withoutTime(third) : third;
        date.end -= third.size() - last.size();
        readNumbers({first, second, last}, gap.front(), date, seen);
        date.end = words[index + 2].end;
    }
    if (isShortGap(gap) && isShortGap(words.gapBefore(index + 2))) {
        date.day = dayOf(first);
        date.month = monthOf(second);
        readYear(third, date, seen);
        date.day = dayOf(second);
        date.month = monthOf(first);
        readYear(third, date, seen);
    }
}

} // namespace

void readDates(const TextWords& words, std::size_t index, const Seen& seen) {
    const std::string_view word = words.wordAt(index);
    SpelledDate date;
    date.begin = words[index].begin;
    date.end = words[index].end;
    if (isDigit(word.front())) {
        readDigits(word, date, seen);
        readDotted(word, date, seen);
        readRunTogether(word, date, seen);
    }
    if (index + 2 < words.count()) {
        readThreeWords(words, index, date, seen);
    }
}

std::optional<int> numberOfDate(std::string_view text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), isDigit);
    const bool hasOthers = text.find_first_not_of("0123456789.-/") != std::string_view::npos;
    return digits.size() == 8 && !hasOthers ? std::optional(valueOf(digits)) : std::nullopt;
}

} // namespace radvex::deidentify
