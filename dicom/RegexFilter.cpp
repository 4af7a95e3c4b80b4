#include "RegexFilter.h"

#include "DcmReader.h"

namespace radvex {

const std::string ALL_PATIENTS = ".*";
const std::string ALL_STUDIES = ".*";
const std::string ALL_SERIES = ".*";

namespace {

constexpr std::size_t kMaxPatternBytes = 1024;
/// The backtracking matcher recurses once a character, and can take exponential time.
constexpr std::size_t kMaxBacktrackedBytes = 256;

} // namespace

ValuePattern::ValuePattern(const std::string& pattern) : mMatchesEverything(pattern == ".*") {
    if (pattern.size() > kMaxPatternBytes) {
        throw std::regex_error(std::regex_constants::error_space);
    }
    try {
        mRegex.assign(pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) {
            throw;
        }
        mRegex.assign(pattern, std::regex::ECMAScript); // the polynomial matcher refuses back-references
        mHasBackReference = true;
    }
}

bool ValuePattern::matches(const std::string& value) const {
    if (mMatchesEverything && value.find_first_of("\r\n") == std::string::npos) {
        return true; // "." matches everything but the ends of a line
    }
    if (mHasBackReference && value.size() > kMaxBacktrackedBytes) {
        return false;
    }
    return std::regex_match(value, mRegex);
}

bool MatchingProperty::operator()(DcmItem* item) const { return pattern.matches(getItemStringArr(item, key)); }

} // namespace radvex
