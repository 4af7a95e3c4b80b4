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
        mRegex.assign(pattern, std::regex::ECMAScript); // the polynomial matcher refuses back-references
        const auto alternatives = static_cast<std::size_t>(std::count(pattern.begin(), pattern.end(), '|')) + 1;
        mLongestValue = kMaxBacktrackedBytes / alternatives;
    }
}

bool ValuePattern::matches(const std::string& value) const {
    if (mMatchesEverything && value.find_first_of("\r\n") == std::string::npos) {
        return true; // "." matches everything but the ends of a line
    }
    return value.size() <= mLongestValue && std::regex_match(value, mRegex);
}

bool MatchingProperty::operator()(DcmItem* item) const { return pattern.matches(getItemStringArr(item, key)); }

} // namespace radvex
