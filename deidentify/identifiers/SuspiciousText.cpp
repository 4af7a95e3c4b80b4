#include "deidentify/identifiers/SuspiciousText.h"

#include <algorithm>
#include <array>
#include <string>

#include "deidentify/identifiers/AsciiText.h"

namespace radvex::deidentify {

namespace {

/// Bytes beyond ASCII are parts of letters.
bool isLetter(char character) {
    return isCapital(character) || (character >= 'a' && character <= 'z') || static_cast<signed char>(character) < 0;
}

bool isSpace(char character) { return character == ' ' || character == '\t' || character == '\r' || character == '\n'; }

/// Reads a text from its start to its end and collects what is suspicious.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : mText(text) {}

    std::vector<TextSpan> run() {
        while (mAt < mText.size()) {
            if (isLetter(mText[mAt])) {
                readWord();
            } else if (isDigit(mText[mAt]) || (mText[mAt] == '+' && isDigit(at(mAt + 1)))) {
                readNumber();
            } else {
                ++mAt;
            }
        }
        return std::move(mSpans);
    }

  private:
    char at(std::size_t index) const { return index < mText.size() ? mText[index] : '\0'; }

    template <typename Is>
    std::size_t endOf(std::size_t begin, Is is) const {
        while (begin < mText.size() && is(mText[begin])) {
            ++begin;
        }
        return begin;
    }

    void add(std::size_t begin, std::size_t end) {
        if (end > begin) {
            mSpans.push_back({begin, end - begin});
        }
        mAt = std::max(end, mAt + 1);
    }

    /// The end of a run without spaces, and without the punctuation that ends a sentence.
    /// @param most  bytes that are looked at: each word of a long run would look at all of it again
    std::size_t endOfChunk(std::size_t begin, std::size_t most = std::string_view::npos) const {
        const std::size_t stop = begin + std::min(most, mText.size() - begin);
        std::size_t end = begin;
        while (end < stop && !isSpace(mText[end]) && mText[end] != '\\') {
            ++end;
        }
        while (end > begin && std::string_view(".,;:)]>\"'").find(mText[end - 1]) != std::string_view::npos) {
            --end;
        }
        return end;
    }

    void readWord() {
        const std::size_t begin = mAt;
        const std::size_t end = endOf(begin, [](char character) { return isLetter(character) || isDigit(character); });
        const std::string word = smallLetters(mText.substr(begin, end - begin));
        const std::string_view start = mText.substr(begin, endOfChunk(begin, kLongestAddress) - begin);
        const std::size_t mail = start.find('@');
        if (mail != std::string_view::npos && start.find('.', mail) != std::string_view::npos) {
            add(begin, endOfChunk(begin));
        } else if (start.find("://") != std::string_view::npos || smallLetters(start.substr(0, 4)) == "www.") {
            add(begin, endOfChunk(begin));
        } else if (!readLabelled(word, end) && !readTelephone(word, end) && !readBirth(word, end) &&
                   !readTitled(word, end)) {
            addOrPass(begin, end, holdsLongNumber(word));
        }
    }

    void addOrPass(std::size_t begin, std::size_t end, bool isSuspicious) {
        if (isSuspicious) {
            add(begin, end);
        } else {
            mAt = std::max(end, mAt + 1);
        }
    }

    /// "ACC2024000123": seven digits in a row.
    static bool holdsLongNumber(std::string_view word) {
        constexpr std::size_t kLong = 7;
        std::size_t digits = 0;
        return std::ranges::any_of(word, [&](char character) {
            digits = isDigit(character) ? digits + 1 : 0;
            return digits == kLong;
        });
    }

    std::size_t behind(std::size_t index, std::string_view skipped) const {
        return endOf(index, [&](char character) { return skipped.find(character) != std::string_view::npos; });
    }

    /// "MRN: 12-34" and "Name: Doe, Jane".
    bool readLabelled(const std::string& word, std::size_t end) {
        static constexpr std::array kNumbers{"mrn", "ssn",    "pid",        "patientid", "acc",  "accession",
                                             "dob", "fallnr", "fallnummer", "patnr",     "born", "geb"};
        static constexpr std::array kNames{"name", "patientname", "patient", "pat"};
        const std::size_t value = behind(end, " .:#=");
        const bool hasColon = mText.substr(end, value - end).find_first_of(":=#") != std::string_view::npos;
        if (std::ranges::find(kNumbers, word) != kNumbers.end() && value > end) {
            const std::size_t startEnd = endOfChunk(value, kLongestAddress);
            if (std::ranges::any_of(mText.substr(value, startEnd - value), isDigit)) {
                add(value, endOfChunk(value));
                return true;
            }
        }
        if (hasColon && std::ranges::find(kNames, word) != kNames.end()) {
            add(value, endOfName(value));
            return true;
        }
        return false;
    }

    /// The start of the value behind a label and, where the label is a phrase, behind the second word of it.
    template <typename Words>
    std::size_t behindLabel(std::size_t end, const Words& secondWords) const {
        const std::size_t next = behind(end, kBehindLabels);
        const std::size_t wordEnd = endOf(next, isLetter);
        const bool isPhrase =
            std::ranges::find(secondWords, smallLetters(mText.substr(next, wordEnd - next))) != secondWords.end();
        return isPhrase ? behind(wordEnd, kBehindLabels) : next;
    }

    /// Whether digits that end here are part of a measure, such as "5mm" or "3.0".
    bool isMeasure(std::size_t end) const { return isLetter(at(end)) || (at(end) == '.' && isDigit(at(end + 1))); }

    /// The end of the groups of digits that together are no more than a telephone number has.
    std::size_t endOfTelephone(std::size_t begin) const {
        constexpr std::size_t kMostDigits = 15;
        std::size_t end = begin;
        std::size_t digits = 0;
        for (std::size_t group = behind(begin, "+("); isDigit(at(group)); group = behind(end, " +-./()")) {
            const std::size_t groupEnd = endOf(group, isDigit);
            digits += groupEnd - group;
            const bool isApart = group > end && end > begin && mText[group - 1] == ' ';
            if (digits > kMostDigits || (isApart && isMeasure(groupEnd))) {
                break;
            }
            end = groupEnd;
        }
        return end;
    }

    /// "Tel. 0711/12 34 56" and "Fax: 12345". What is mobile may be a machine, so that it takes a longer number.
    bool readTelephone(const std::string& word, std::size_t end) {
        static constexpr std::array kTelephones{"tel", "telephone", "telefon", "telefono",
                                                "fon", "phone",     "fax",     "telefax"};
        static constexpr std::array kMobiles{"mobile", "mobil", "handy", "cell", "cellphone", "cellular", "pager"};
        static constexpr std::array kNumber{"no", "nr", "number", "nummer"};
        constexpr std::ptrdiff_t kFewest = 3;
        constexpr std::ptrdiff_t kFewestMobile = 5;
        const bool isMobile = std::ranges::find(kMobiles, word) != kMobiles.end();
        if (!isMobile && std::ranges::find(kTelephones, word) == kTelephones.end()) {
            return false;
        }
        const std::size_t value = behindLabel(end, kNumber);
        const std::size_t valueEnd = endOfTelephone(value);
        const std::ptrdiff_t digits = std::ranges::count_if(mText.substr(value, valueEnd - value), isDigit);
        const bool hasUnit = isLetter(at(valueEnd));
        if (value == end || hasUnit || digits < (isMobile ? kFewestMobile : kFewest)) {
            return false;
        }
        add(value, valueEnd);
        return true;
    }

    /// "born on 17.4.61" and "birth: 4/17/61": two digits for the year are a date behind such a word only.
    bool readBirth(const std::string& word, std::size_t end) {
        static constexpr std::array kBirths{"birth",   "birthdate",    "birthday",   "born",     "dob",      "geb",
                                            "geboren", "geburtsdatum", "geburtstag", "n\u00E9",  "n\u00E9e", "nato",
                                            "nata",    "nacido",       "nacida",     "naissance"};
        static constexpr std::array kOn{"on", "am", "le", "il", "el", "date"};
        if (std::ranges::find(kBirths, word) == kBirths.end()) {
            return false;
        }
        const std::size_t value = behindLabel(end, kOn);
        const std::size_t valueEnd = endOfChunk(value, kLongestAddress);
        if (value == end || !isShortDate(mText.substr(value, valueEnd - value))) {
            return false;
        }
        add(value, valueEnd);
        return true;
    }

    /// Three numbers of one or two digits with the same separator.
    static bool isShortDate(std::string_view run) {
        std::size_t parts = 0;
        const std::size_t separator = run.find_first_of("-./");
        for (std::size_t begin = 0; separator != std::string_view::npos && begin <= run.size(); ++parts) {
            const std::size_t end = std::min(run.find(run[separator], begin), run.size());
            const std::string_view part = run.substr(begin, end - begin);
            if (part.empty() || part.size() > 2 || !std::ranges::all_of(part, isDigit)) {
                return false;
            }
            begin = end + 1;
        }
        return parts == 3;
    }

    /// Up to three words that begin with capital letters.
    std::size_t endOfName(std::size_t begin) const {
        std::size_t end = begin;
        std::size_t next = begin;
        for (int words = 0; words < 3 && (isCapital(at(next)) || static_cast<signed char>(at(next)) < 0); ++words) {
            end = endOf(next,
                        [](char character) { return isLetter(character) || character == '-' || character == '\''; });
            next = behind(end, " ,.^");
        }
        return end;
    }

    /// "MR Brain", "TE 98 ms Axial" and "MS Protocol", but not "Mr Smith" and "MR. SMITH".
    bool isModalityOrUnit(const std::string& word, std::size_t end) const {
        const bool isUnit = word == "ms" && !isCapital(mText[mAt]);
        const bool isInCapitals = isCapital(mText[mAt]) && isCapital(at(mAt + 1));
        return isUnit || ((word == "mr" || word == "ms") && isInCapitals && at(end) != '.');
    }

    /// "Dr. Meier".
    bool readTitled(const std::string& word, std::size_t end) {
        static constexpr std::array kTitles{"dr", "prof", "mr", "mrs", "ms", "herr", "frau", "mme", "mlle", "monsieur"};
        const std::size_t value = behind(end, ". ");
        if (std::ranges::find(kTitles, word) == kTitles.end() || value == end || !isCapital(at(value)) ||
            isModalityOrUnit(word, end)) {
            return false;
        }
        add(value, endOfName(value));
        return true;
    }

    /// Dates, telephone numbers and long numbers; not sizes, angles and other measures.
    void readNumber() {
        const std::size_t begin = mAt;
        const auto isPart = [](char character) {
            return isDigit(character) || std::string_view("+-./()").find(character) != std::string_view::npos;
        };
        std::size_t end = endOf(begin, isPart);
        while (end > begin && !isDigit(mText[end - 1])) {
            --end;
        }
        if (mText[begin] == '+') {
            end = endOfGroups(end);
        }
        const std::string_view run = mText.substr(begin, end - begin);
        const bool isCall = run.front() == '+' && countDigits(run) >= kInternational;
        addOrPass(begin, end, isCall || isFullDate(run) || isLongNumber(run) || isInDottedGroups(run));
    }

    static constexpr std::ptrdiff_t kInternational = 9; ///< digits of a telephone number with its country or area

    static std::ptrdiff_t countDigits(std::string_view run) { return std::ranges::count_if(run, isDigit); }

    /// The end of "+49 30 123 45 67": groups of digits with single spaces between them.
    std::size_t endOfGroups(std::size_t end) const {
        while (at(end) == ' ' && isDigit(at(end + 1)) && !isMeasure(endOf(end + 1, isDigit))) {
            end = endOf(end + 1, isDigit);
        }
        return end;
    }

    /// "555.123.4567" and "01.23.45.67.89". A UID has a number of one digit among its first three.
    static bool isInDottedGroups(std::string_view run) {
        std::size_t digits = 0;
        for (const char character : run) {
            if (character == '.' && (digits < 2 || digits > 4)) {
                return false;
            }
            if (character != '.' && !isDigit(character)) {
                return false;
            }
            digits = character == '.' ? 0 : digits + 1;
        }
        return digits >= 2 && digits <= 4 && std::ranges::count(run, '.') >= 2 && countDigits(run) >= kInternational;
    }

    /// Three numbers with the same separator, of which one is a year, or eight digits that are a day since 1900.
    static bool isFullDate(std::string_view run) {
        if (run.size() == 8 && std::ranges::all_of(run, isDigit)) {
            const std::string_view century = run.substr(0, 2);
            return (century == "19" || century == "20") && run.substr(4, 2) <= "12" && run.substr(4, 2) >= "01" &&
                   run.substr(6) <= "31" && run.substr(6) >= "01";
        }
        const std::size_t first = run.find_first_of("-./");
        const std::size_t second = first == std::string_view::npos ? first : run.find(run[first], first + 1);
        if (second == std::string_view::npos ||
            run.find_first_not_of("0123456789", second + 1) != std::string_view::npos) {
            return false;
        }
        const std::array sizes{first, second - first - 1, run.size() - second - 1};
        const bool isYearFirst = sizes[0] == 4 && sizes[1] >= 1 && sizes[1] <= 2 && sizes[2] >= 1 && sizes[2] <= 2;
        const bool isYearLast = sizes[2] == 4 && sizes[0] >= 1 && sizes[0] <= 2 && sizes[1] >= 1 && sizes[1] <= 2;
        return (isYearFirst || isYearLast) &&
               run.substr(first + 1, sizes[1]).find_first_not_of("0123456789") == std::string_view::npos;
    }

    /// Seven digits without a decimal point; a UID has more than one.
    static bool isLongNumber(std::string_view run) {
        constexpr std::ptrdiff_t kTelephone = 7;
        const auto dots = std::ranges::count(run, '.');
        return std::ranges::count_if(run, isDigit) >= kTelephone && dots == 0;
    }

    static constexpr std::size_t kLongestAddress = 320; ///< of mail; one of the web shows what it is before that
    static constexpr std::string_view kBehindLabels = " .:#=-)";

    std::string_view mText;
    std::size_t mAt = 0;
    std::vector<TextSpan> mSpans{};
};

} // namespace

std::vector<TextSpan> suspiciousParts(std::string_view text) { return Scanner(text).run(); }

} // namespace radvex::deidentify
