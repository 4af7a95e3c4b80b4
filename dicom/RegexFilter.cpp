#include "RegexFilter.h"

#include <algorithm>

#include "DcmReader.h"

namespace radvex {

const std::string ALL_PATIENTS = ".*";
const std::string ALL_STUDIES = ".*";
const std::string ALL_SERIES = ".*";

namespace {

constexpr std::size_t kMaxPatternBytes = 1024;
/// The backtracking matcher recurses for each character and each alternative, and can take exponential time.
constexpr std::size_t kMaxBacktrackedBytes = 256;
/// Looks at a place before it is given up: about a second at most.
constexpr long kMostLooks = 4'000'000;
/// The compiler recurses for each group that is open, some 500 bytes deep.
constexpr int kMaxOpenGroups = 64;

/// Groups that are open at once; a bracket that stands for itself counts too, unless it is escaped.
int openGroups(const std::string& pattern) {
    int open = 0;
    int most = 0;
    for (std::size_t place = 0; place < pattern.size(); ++place) {
        switch (pattern[place]) {
        case '\\': ++place; break;
        case '(': most = std::max(most, ++open); break;
        case ')': open = std::max(open - 1, 0); break;
        default: break;
        }
    }
    return most;
}

/// The same pattern with a look ahead for nothing in front of each back-reference: that of a group without a match ends
/// a try without a look at a place, and tries are to be counted.
std::string withCountedReferences(const std::string& pattern) {
    std::string counted;
    for (std::size_t place = 0; place < pattern.size(); ++place) {
        if (pattern[place] == '\\' && place + 1 < pattern.size()) {
            const char next = pattern[place + 1];
            counted += next >= '1' && next <= '9' ? "(?=)\\" : "\\";
            ++place;
        }
        counted += pattern[place];
    }
    return counted;
}

/// A place in a value that counts how often it is looked at, so that a matcher does not go on for ever.
class CountedPlace {
  public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountedPlace() = default;
    CountedPlace(const char* place, long& looks) : mPlace(place), mLooks(&looks) {}

    reference operator*() const {
        count();
        return *mPlace;
    }
    CountedPlace& operator++() {
        ++mPlace;
        return *this;
    }
    CountedPlace operator++(int) { return {mPlace++, *mLooks}; }
    CountedPlace& operator--() {
        --mPlace;
        return *this;
    }
    CountedPlace operator--(int) { return {mPlace--, *mLooks}; }
    bool operator==(const CountedPlace& other) const {
        count(); // at the end of a value no more is done than this
        return mPlace == other.mPlace;
    }

  private:
    void count() const {
        if (mLooks != nullptr && ++*mLooks > kMostLooks) {
            throw std::regex_error(std::regex_constants::error_complexity);
        }
    }

    const char* mPlace = nullptr;
    long* mLooks = nullptr;
};

} // namespace

ValuePattern::ValuePattern(const std::string& pattern) : mMatchesEverything(pattern == ".*") {
    if (pattern.size() > kMaxPatternBytes) {
        throw std::regex_error(std::regex_constants::error_space);
    }
    if (openGroups(pattern) > kMaxOpenGroups) {
        throw std::regex_error(std::regex_constants::error_stack);
    }
    try {
        mRegex.assign(pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) {
            throw;
        }
        // The polynomial matcher refuses back-references.
        mRegex.assign(withCountedReferences(pattern), std::regex::ECMAScript);
        const auto alternatives = static_cast<std::size_t>(std::count(pattern.begin(), pattern.end(), '|')) + 1;
        mLongestValue = kMaxBacktrackedBytes / alternatives;
    }
}

bool ValuePattern::matches(const std::string& value) const {
    if (mMatchesEverything && value.find_first_of("\r\n") == std::string::npos) {
        return true; // "." matches everything but the ends of a line
    }
    if (value.size() > mLongestValue) {
        return false;
    }
    if (mLongestValue == kAnyLength) {
        return std::regex_match(value, mRegex);
    }
    long looks = 0;
    return std::regex_match(CountedPlace(value.data(), looks), CountedPlace(value.data() + value.size(), looks),
                            mRegex);
}

bool MatchingProperty::operator()(DcmItem* item) const { return pattern.matches(getItemStringArr(item, key)); }

} // namespace radvex
