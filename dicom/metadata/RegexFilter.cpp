#include "dicom/metadata/RegexFilter.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "dicom/readers/DcmReader.h"

namespace radvex {

namespace {

constexpr std::size_t kMaxPatternBytes = 1024;
/// The compiler of patterns calls itself for each open group, and needs some 500 bytes of stack for it.
constexpr std::size_t kMaxOpenGroups = 64;
/// Matchers call themselves from state to state, and need some 110 bytes of stack for each.
constexpr std::size_t kMaxStates = 1600;
/// With a back-reference they do so for all characters of a value, and need some 150 bytes for each.
constexpr std::size_t kMaxBacktrackedStates = 1400;
constexpr std::size_t kMaxBacktrackedBytes = 256;
/// A pattern with a back-reference can take exponential time. With many states each step takes longer.
constexpr std::size_t kMaxSteps = 4'000'000;
constexpr std::size_t kFewStates = 64;
/// Where statesOf stops counting.
constexpr std::size_t kMaxCount = 100'000;

/// The index behind a character class that starts at `index`. A class holds characters, and names such as [:alpha:].
std::size_t behindClass(const std::string& pattern, std::size_t index) {
    ++index;
    while (index < pattern.size() && pattern[index] != ']') {
        const char next = index + 1 < pattern.size() ? pattern[index + 1] : '\0';
        if (pattern[index] == '[' && (next == ':' || next == '.' || next == '=')) {
            const std::size_t end = pattern.find(std::string{next, ']'}, index + 2);
            index = end == std::string::npos ? pattern.size() : end + 2;
        } else {
            index += std::size_t{pattern[index] == '\\' ? 2U : 1U};
        }
    }
    return index + 1;
}

/// The largest number of repetitions that "{2}", "{2,}" or "{2,5}" asks for, and the index of the closing bracket.
std::pair<std::size_t, std::size_t> repetitions(const std::string& pattern, std::size_t index) {
    std::size_t largest = 0;
    std::size_t number = 0;
    for (++index; index < pattern.size() && pattern[index] != '}'; ++index) {
        const bool isDigit = std::isdigit(static_cast<unsigned char>(pattern[index])) != 0;
        number = isDigit ? std::min(kMaxCount, number * 10 + static_cast<std::size_t>(pattern[index] - '0')) : 0;
        largest = std::max(largest, number);
    }
    return {largest + 1, index}; // "{2,}" makes one more, which may be repeated without end
}

/// Sums up states, group by group.
class StateCount {
  public:
    void open() { mGroups.push_back(kStatesOfGroup); }
    void close() {
        if (mGroups.size() > 1) {
            mLast = mGroups.back();
            mGroups.pop_back();
            mGroups.back() = std::min(kMaxCount, mGroups.back() + mLast);
        }
    }
    void add(std::size_t states) {
        mLast = states;
        mGroups.back() = std::min(kMaxCount, mGroups.back() + states);
    }
    /// Repeats the last group or character.
    void repeat(std::size_t times) {
        const std::size_t all = std::min(kMaxCount, times * (mLast + 1));
        mGroups.back() = std::min(kMaxCount, mGroups.back() - std::min(mLast, mGroups.back()) + all);
        mLast = all;
    }
    std::size_t total() {
        while (mGroups.size() > 1) {
            close();
        }
        return mGroups.back();
    }

  private:
    static constexpr std::size_t kStatesOfGroup = 3;

    std::vector<std::size_t> mGroups{0}; ///< states of each open group; the first one is the whole pattern
    std::size_t mLast = 0;
};

/// The largest number of groups that are open at once.
std::size_t openGroups(const std::string& pattern) {
    std::size_t open = 0;
    std::size_t largest = 0;
    for (std::size_t index = 0; index < pattern.size(); ++index) {
        switch (pattern[index]) {
        case '\\': ++index; break;
        case '(': largest = std::max(largest, ++open); break; // one inside a character class counts as well
        case ')': open -= std::min<std::size_t>(open, 1); break;
        default: break;
        }
    }
    return largest;
}

/// The same pattern with an empty look-ahead before each back-reference. The matcher compares nothing when a
/// back-reference's group has no match; the look-ahead makes it take a step that is counted.
std::string withCountedReferences(const std::string& pattern) {
    std::string counted;
    for (std::size_t index = 0; index < pattern.size(); ++index) {
        if (pattern[index] == '\\' && index + 1 < pattern.size()) {
            const char next = pattern[index + 1];
            counted += next >= '1' && next <= '9' ? "(?=)\\" : "\\";
            ++index;
        }
        counted += pattern[index];
    }
    return counted;
}

/// An iterator over a value that counts each look at it as a step, so that a matcher comes to an end.
class CountingIterator {
  public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator() = default;
    CountingIterator(const char* character, std::size_t& stepsLeft) : mCharacter(character), mStepsLeft(&stepsLeft) {}

    reference operator*() const {
        count();
        return *mCharacter;
    }
    CountingIterator& operator++() {
        ++mCharacter;
        return *this;
    }
    // NOLINTNEXTLINE(cert-dcl21-cpp): a copy that may be moved from is what the library expects
    CountingIterator operator++(int) { return {mCharacter++, *mStepsLeft}; }
    CountingIterator& operator--() {
        --mCharacter;
        return *this;
    }
    // NOLINTNEXTLINE(cert-dcl21-cpp)
    CountingIterator operator--(int) { return {mCharacter--, *mStepsLeft}; }
    bool operator==(const CountingIterator& other) const {
        count(); // at the end of a value a matcher does nothing else
        return mCharacter == other.mCharacter;
    }

  private:
    void count() const {
        if (mStepsLeft != nullptr && (*mStepsLeft)-- == 0) {
            throw std::regex_error(std::regex_constants::error_complexity);
        }
    }

    const char* mCharacter = nullptr;
    std::size_t* mStepsLeft = nullptr;
};

} // namespace

std::size_t statesOf(const std::string& pattern) {
    StateCount count;
    for (std::size_t index = 0; index < pattern.size(); ++index) {
        switch (pattern[index]) {
        case '(': count.open(); break;
        case ')': count.close(); break;
        case '*':
        case '+':
        case '?': count.repeat(1); break;
        case '|': count.add(2); break;
        case '{': {
            const auto [times, end] = repetitions(pattern, index);
            count.repeat(times);
            index = end;
            break;
        }
        case '[':
            index = behindClass(pattern, index) - 1;
            count.add(1);
            break;
        case '\\':
            ++index;
            count.add(1);
            break;
        default: count.add(1); break;
        }
    }
    return count.total();
}

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
        // The polynomial matcher refuses back-references.
        if (error.code() != std::regex_constants::error_complexity || states > kMaxBacktrackedStates) {
            throw;
        }
        mRegex.assign(withCountedReferences(pattern), std::regex::ECMAScript);
        mMaxValueBytes = std::min(kMaxBacktrackedBytes, kMaxBacktrackedStates / states);
        mMaxSteps = kMaxSteps / (1 + states / kFewStates);
    }
}

bool ValuePattern::matches(const std::string& value) const {
    if (mMatchesEverything && value.find_first_of("\r\n") == std::string::npos) {
        return true; // "." matches everything but the ends of a line
    }
    if (value.size() > mMaxValueBytes) {
        return false;
    }
    if (mMaxValueBytes == kAnyLength) {
        return std::regex_match(value, mRegex);
    }
    std::size_t stepsLeft = mMaxSteps;
    const char* end = value.data() + value.size();
    return std::regex_match(CountingIterator(value.data(), stepsLeft), CountingIterator(end, stepsLeft), mRegex);
}

bool MatchingProperty::operator()(DcmItem* item) const { return pattern.matches(getItemStringArr(item, key)); }

} // namespace radvex
