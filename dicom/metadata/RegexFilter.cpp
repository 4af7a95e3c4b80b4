#include "dicom/metadata/RegexFilter.h"

#include <algorithm>

#include "dicom/metadata/PatternSize.h"
#include "dicom/readers/DcmReader.h"

namespace radvex {

const std::string ALL_PATIENTS = ".*";
const std::string ALL_STUDIES = ".*";
const std::string ALL_SERIES = ".*";

namespace {

constexpr std::size_t kMaxPatternBytes = 1024;
/// The compiler recurses for each group that is open, some 500 bytes deep.
constexpr std::size_t kMaxOpenGroups = 64;
/// Matchers recurse from state to state, some 110 bytes deep.
constexpr std::size_t kMaxStates = 1600;
/// With a back-reference they do so through all characters of a value, some 150 bytes deep.
constexpr std::size_t kMaxBacktrackedStates = 1400;
constexpr std::size_t kMaxBacktrackedBytes = 256;
/// Looks at a place before a pattern with a back-reference is given up, which can take exponential time. With many
/// states each takes longer.
constexpr std::size_t kMostLooks = 4'000'000;
constexpr std::size_t kFewStates = 64;

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
    CountedPlace(const char* place, std::size_t& looksLeft) : mPlace(place), mLooksLeft(&looksLeft) {}

    reference operator*() const {
        count();
        return *mPlace;
    }
    CountedPlace& operator++() {
        ++mPlace;
        return *this;
    }
    CountedPlace operator++(int) { return {mPlace++, *mLooksLeft}; }
    CountedPlace& operator--() {
        --mPlace;
        return *this;
    }
    CountedPlace operator--(int) { return {mPlace--, *mLooksLeft}; }
    bool operator==(const CountedPlace& other) const {
        count(); // at the end of a value no more is done than this
        return mPlace == other.mPlace;
    }

  private:
    void count() const {
        if (mLooksLeft != nullptr && (*mLooksLeft)-- == 0) {
            throw std::regex_error(std::regex_constants::error_complexity);
        }
    }

    const char* mPlace = nullptr;
    std::size_t* mLooksLeft = nullptr;
};

} // namespace

ValuePattern::ValuePattern(const std::string& pattern) : mMatchesEverything(pattern == ".*") {
    if (pattern.size() > kMaxPatternBytes) {
        throw std::regex_error(std::regex_constants::error_space);
    }
    const std::size_t states = statesOf(pattern);
    if (openGroups(pattern) > kMaxOpenGroups || states > kMaxStates) {
        throw std::regex_error(std::regex_constants::error_stack);
    }
    try {
        mRegex.assign(pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) {
            throw;
        }
        // The polynomial matcher refuses back-references.
        if (states > kMaxBacktrackedStates) {
            throw;
        }
        mRegex.assign(withCountedReferences(pattern), std::regex::ECMAScript);
        mLongestValue = std::min(kMaxBacktrackedBytes, kMaxBacktrackedStates / states);
        mMostLooks = kMostLooks / (1 + states / kFewStates);
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
    std::size_t looksLeft = mMostLooks;
    return std::regex_match(CountedPlace(value.data(), looksLeft), CountedPlace(value.data() + value.size(), looksLeft),
                            mRegex);
}

bool MatchingProperty::operator()(DcmItem* item) const { return pattern.matches(getItemStringArr(item, key)); }

} // namespace radvex
