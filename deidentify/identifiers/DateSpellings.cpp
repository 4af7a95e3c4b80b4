#include "deidentify/identifiers/DateSpellings.h"

#include <algorithm>
#include <array>
#include <string>
#include <unordered_map>
#include <utility>

namespace radvex::deidentify {

namespace {

/// The names of each month, folded. No name is that of two months in two languages. Polish ones have the case that they
/// have behind a day, too.
constexpr std::array<std::string_view, 12> kNames{
    "jan january januar janner januari janvier janv jnv enero ene gennaio gen janeiro stycznia styczen sty",
    "feb february februar februari fevrier fevr fev febrero febbraio fevereiro lutego luty lut",
    "mar march marz maerz mrz mars marzo marco maart mrt marca marzec",
    "apr april avril avr abril abr aprile kwietnia kwiecien kwi",
    "may mai mayo maggio mag maio mei maja maj",
    "jun june juni juin junio giugno giu junho czerwca czerwiec cze",
    "jul july juli juillet juil julio luglio lug julho lipca lipiec lip",
    "aug august aout agosto ago augustus sierpnia sierpien sie",
    "sep sept september septembre septiembre setiembre settembre setembro set wrzesnia wrzesien wrz",
    "oct october okt oktober octobre octubre ottobre ott outubro out pazdziernika pazdziernik paz",
    "nov november novembre noviembre novembro listopada listopad lis",
    "dec december dez dezember decembre diciembre dic dicembre dezembro grudnia grudzien gru"};

constexpr std::array<std::string_view, 12> kRoman{"i",   "ii",   "iii", "iv", "v",  "vi",
                                                  "vii", "viii", "ix",  "x",  "xi", "xii"};

std::unordered_map<std::string_view, int> monthsByName() {
    std::unordered_map<std::string_view, int> months;
    for (std::size_t index = 0; index < kNames.size(); ++index) {
        const std::string_view names = kNames[index];
        for (std::size_t begin = 0; begin < names.size();) {
            const std::size_t end = std::min(names.find(' ', begin), names.size());
            months.try_emplace(names.substr(begin, end - begin), static_cast<int>(index) + 1);
            begin = end + 1;
        }
    }
    return months;
}

/// 1 to 12 for the name of a month, in full or in short, in English, German, French, Spanish, Italian, Portuguese,
/// Dutch or Polish; 0 for other words.
int monthOf(std::string_view foldedWord) {
    static const std::unordered_map<std::string_view, int> months = monthsByName();
    const auto found = months.find(foldedWord);
    return found == months.end() ? 0 : found->second;
}

/// 1 to 12 for a month that is counted in Roman digits, "iv"; 0 for other words.
int romanMonthOf(std::string_view foldedWord) {
    const auto* found = std::find(kRoman.begin(), kRoman.end(), foldedWord);
    return found == kRoman.end() ? 0 : static_cast<int>(found - kRoman.begin()) + 1;
}

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

/// The number of "5", "5th", "1er" and "1o"; 0 for other words.
int dayOf(std::string_view word) {
    for (const std::string_view ending : {"st", "nd", "rd", "th", "er", "o"}) {
        if (word.size() > ending.size() && word.ends_with(ending)) {
            word.remove_suffix(ending.size());
            break;
        }
    }
    return isNumberOf(word, 1, 2) ? valueOf(word) : 0;
}

/// Reads "1970-03-05", "05.03.1970", "3/5/1970", "3/5/70" and "03/05/70".
/// @param separator  what stands between all parts
void readNumbers(const Parts& parts, char separator, SpelledDate date, const Seen& seen) {
    const auto& [first, second, third] = parts;
    const bool isDay = isNumberOf(second, 1, 2);
    if (isNumberOf(first, 4, 4) && isDay && isNumberOf(third, 1, 2)) {
        date.year = valueOf(first);
        date.month = valueOf(second);
        date.day = valueOf(third);
        seen(date);
        return;
    }
    date.hasTwoDigits = third.size() == 2;
    // "17-04-61" may as well count something else.
    date.isShort = date.isShort || (date.hasTwoDigits && separator == '-');
    if (!isNumberOf(first, 1, 2) || !isDay || (!date.hasTwoDigits && third.size() != 4) || !isNumber(third)) {
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

/// Reads "700305".
void readSixDigits(std::string_view word, SpelledDate date, const Seen& seen) {
    if (word.size() == 6 && isNumber(word)) {
        date.year = valueOf(word.substr(0, 2));
        date.month = valueOf(word.substr(2, 2));
        date.day = valueOf(word.substr(4, 2));
        date.isShort = true;
        date.hasTwoDigits = true;
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

/// Reads "05mar1970" and "05mar70", whose parts are of 1 or 2 digits, letters, and 2 or 4 digits.
void readRunTogether(std::string_view word, SpelledDate date, const Seen& seen) {
    const std::size_t month = std::min(word.find_first_not_of("0123456789"), word.size());
    const std::size_t year = std::min(word.find_first_of("0123456789", month), word.size());
    if (month < year) {
        date.day = dayOf(word.substr(0, month));
        date.month = monthOf(word.substr(month, year - month));
        readYear(word.substr(year), date, seen);
    }
}

bool isShortGap(std::string_view gap) {
    return gap.size() <= 2 && gap.find_first_not_of(" .,-_/'") == std::string_view::npos;
}

/// "05" of "05t103000", as times are written after a date.
std::string_view withoutTime(std::string_view word) {
    const bool hasTime = word.size() > 3 && isDigit(word[0]) && isDigit(word[1]) && word[2] == 't' && isDigit(word[3]);
    return hasTime ? word.substr(0, 2) : word;
}

/// The word after a word of a date, behind "of" in any of the languages; the number of words when it stands apart.
std::size_t nextPart(const TextWords& words, std::size_t index) {
    constexpr std::array<std::string_view, 4> kOf{"of", "de", "del", "di"};
    std::size_t next = index + 1;
    if (next + 1 < words.count() && std::find(kOf.begin(), kOf.end(), words.wordAt(next)) != kOf.end() &&
        isShortGap(words.gapBefore(next))) {
        ++next;
    }
    return next < words.count() && isShortGap(words.gapBefore(next)) ? next : words.count();
}

/// Reads "5 march 1970", "march 5, 1970", "1970-mar-05", "5 de marzo de 1970" and "5.III.1970".
void readMonthInLetters(const TextWords& words, std::size_t index, SpelledDate date, const Seen& seen) {
    const std::size_t middle = nextPart(words, index);
    const std::size_t last = middle < words.count() ? nextPart(words, middle) : middle;
    if (last >= words.count()) {
        return;
    }
    const std::string_view first = words.wordAt(index);
    const std::string_view second = words.wordAt(middle);
    const std::string_view third = words.wordAt(last);
    date.end = words[last].end;
    date.month = isDigit(first.front()) ? monthOf(second) : monthOf(first);
    date.day = isDigit(first.front()) ? dayOf(first) : dayOf(second);
    readYear(third, date, seen);
    if (isNumberOf(first, 4, 4)) {
        date.day = dayOf(third);
        readYear(first, date, seen);
    }
    // Between spaces, "5 v 10" is more often something else.
    if (const int month = romanMonthOf(second); month > 0 && (words.gapBefore(middle) != " " || third.size() == 4)) {
        date.month = month;
        date.day = dayOf(first);
        readYear(third, date, seen);
    }
}

/// Reads "1970-03-05", "3/5/70" and "5. 3. 1970".
void readThreeNumbers(const TextWords& words, std::size_t index, SpelledDate date, const Seen& seen) {
    const std::string_view first = words.wordAt(index);
    const std::string_view third = words.wordAt(index + 2);
    const std::string_view gap = words.gapBefore(index + 1);
    if ((gap != "-" && gap != "/" && gap != ". ") || gap != words.gapBefore(index + 2)) {
        return;
    }
    const std::string_view last = first.size() == 4 ? withoutTime(third) : third;
    date.end = words[index + 2].end - (third.size() - last.size());
    date.isShort = gap.size() > 1 && last.size() == 2; // "1. 2. 10" may as well be a list
    readNumbers({first, words.wordAt(index + 1), last}, gap.front(), date, seen);
}

} // namespace

void readDates(const TextWords& words, std::size_t index, const Seen& seen) {
    const std::string_view word = words.wordAt(index);
    SpelledDate date;
    date.begin = words[index].begin;
    date.end = words[index].end;
    if (isDigit(word.front())) {
        readSixDigits(word, date, seen);
        readDigits(word, date, seen);
        readDotted(word, date, seen);
        readRunTogether(word, date, seen);
    }
    if (index + 2 < words.count()) {
        readThreeNumbers(words, index, date, seen);
        readMonthInLetters(words, index, date, seen);
    }
}

std::optional<int> numberOfDate(std::string_view text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), isDigit);
    const bool hasOthers = text.find_first_not_of("0123456789.-/") != std::string_view::npos;
    return digits.size() == 8 && !hasOthers ? std::optional(valueOf(digits)) : std::nullopt;
}

} // namespace radvex::deidentify
