#include "deidentify/identifiers/SuspiciousText.h"

#include <algorithm>
#include <array>
#include <string>

namespace radvex::deidentify {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }
bool isCapital(char character) { return character >= 'A' && character <= 'Z'; }

/// Bytes beyond ASCII are parts of letters.
bool isLetter(char character) {
    return isCapital(character) || (character >= 'a' && character <= 'z') || static_cast<signed char>(character) < 0;
}

bool isSpace(char character) { return character == ' ' || character == '\t' || character == '\r' || character == '\n'; }

std::string smallLetters(std::string_view text) {
    std::string small(text);
    std::ranges::transform(small, small.begin(), [](char character) {
        return isCapital(character) ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return small;
}

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
    std::size_t endOfChunk(std::size_t begin) const {
        std::size_t end = endOf(begin, [](char character) { return !isSpace(character) && character != '\\'; });
        while (end > begin && std::string_view(".,;:)]>\"'").find(mText[end - 1]) != std::string_view::npos) {
            --end;
        }
        return end;
    }

    void readWord() {
        const std::size_t begin = mAt;
        const std::size_t end = endOf(begin, [](char character) { return isLetter(character) || isDigit(character); });
        const std::string word = smallLetters(mText.substr(begin, end - begin));
        const std::size_t chunk = endOfChunk(begin);
        const std::string_view whole = mText.substr(begin, chunk - begin);
        const std::size_t mail = whole.find('@');
        if (mail != std::string_view::npos && whole.find('.', mail) != std::string_view::npos) {
            add(begin, chunk);
        } else if (whole.find("://") != std::string_view::npos || smallLetters(whole).starts_with("www.")) {
            add(begin, chunk);
        } else if (!readLabelled(word, end) && !readTitled(word, end)) {
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
            const std::size_t valueEnd = endOfChunk(value);
            if (std::any_of(mText.begin() + static_cast<std::ptrdiff_t>(value),
                            mText.begin() + static_cast<std::ptrdiff_t>(valueEnd), isDigit)) {
                add(value, valueEnd);
                return true;
            }
        }
        if (hasColon && std::ranges::find(kNames, word) != kNames.end()) {
            add(value, endOfName(value));
            return true;
        }
        return false;
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
        const std::string_view run = mText.substr(begin, end - begin);
        addOrPass(begin, end, isFullDate(run) || isLongNumber(run));
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

    std::string_view mText;
    std::size_t mAt = 0;
    std::vector<TextSpan> mSpans{};
};

} // namespace

std::vector<TextSpan> suspiciousParts(std::string_view text) { return Scanner(text).run(); }

} // namespace radvex::deidentify
