#include "RegexFilter.h"

#include <algorithm>

#include "DcmReader.h"
#include "DeepStack.h"

namespace radvex {

const std::string ALL_PATIENTS = ".*";
const std::string ALL_STUDIES = ".*";
const std::string ALL_SERIES = ".*";

namespace {

constexpr std::size_t kMaxPatternBytes = 1024;
/// The backtracking matcher recurses for each character and each alternative, and can take exponential time.
constexpr std::size_t kMaxBacktrackedBytes = 256;
/// The compiler recurses for each group that is open, some 500 bytes deep.
constexpr std::ptrdiff_t kMaxGroupsOnAnyStack = 64;

bool isDeep(const std::string& pattern) {
    return std::count(pattern.begin(), pattern.end(), '(') > kMaxGroupsOnAnyStack;
}

} // namespace

ValuePattern::ValuePattern(const std::string& pattern) : mMatchesEverything(pattern == ".*") {
    if (pattern.size() > kMaxPatternBytes) {
        throw std::regex_error(std::regex_constants::error_space);
    }
    if (isDeep(pattern)) {
        mNeedsDeepStack = true;
        onDeepStack([&] { compile(pattern); });
    } else {
        compile(pattern);
    }
}

void ValuePattern::compile(const std::string& pattern) {
    try {
        mRegex.assign(pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) {
            throw;
        }
        mRegex.assign(pattern, std::regex::ECMAScript); // the polynomial matcher refuses back-references
        mHasBackReference = true;
        mNeedsDeepStack = true;
    }
}

bool ValuePattern::matches(const std::string& value) const {
    if (mMatchesEverything && value.find_first_of("\r\n") == std::string::npos) {
        return true; // "." matches everything but the ends of a line
    }
    if (mHasBackReference && value.size() > kMaxBacktrackedBytes) {
        return false;
    }
    bool isMatch = false;
    const auto match = [&] { isMatch = std::regex_match(value, mRegex); };
    mNeedsDeepStack ? onDeepStack(match) : match();
    return isMatch;
}

bool MatchingProperty::operator()(DcmItem* item) const { return pattern.matches(getItemStringArr(item, key)); }

} // namespace radvex
