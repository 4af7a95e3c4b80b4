#pragma once

#include <cstddef>
#include <regex>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex {

/// An ECMAScript pattern that a whole value has to match, case-sensitive. No pattern needs a large call stack.
class ValuePattern {
  public:
    /// @throws std::regex_error  the pattern is malformed, has more than 1024 bytes, 64 groups open at once or 1600
    ///                           states (see statesOf), or has a back-reference and more than 1400 states
    explicit ValuePattern(const std::string& pattern);

    /// Takes time polynomial in the length of the value. There is no such matcher for a pattern with a back-reference:
    /// with one, a value of more than 256 bytes, or more than 1400 divided by the pattern's states, does not match.
    /// @throws std::regex_error  (error_complexity) a pattern with a back-reference takes more than four million steps,
    ///                           fewer if it has many states; this is about a second
    bool matches(const std::string& value) const;

  private:
    static constexpr auto kAnyLength = static_cast<std::size_t>(-1);

    bool mMatchesEverything;
    std::size_t mMaxValueBytes = kAnyLength; ///< the matcher gets no longer value
    std::size_t mMaxSteps = 0;               ///< of a pattern with a back-reference
    std::regex mRegex{};
};

/// An upper bound of the states that `std::regex` makes of an ECMAScript pattern. It copies what is repeated a given
/// number of times. The result is 100,000 at most: `std::regex` itself refuses more.
std::size_t statesOf(const std::string& pattern);

/// Restricts a question to patients, studies and series. ".*" means no restriction.
///
/// Hierarchical: a study counts only inside a patient that passes, a series only inside a study that passes.
struct RegexFilter {
    /// @throws std::regex_error  for the first pattern that is malformed
    RegexFilter(const std::string& patientPattern, const std::string& studyPattern, const std::string& seriesPattern)
        : patient(patientPattern), study(studyPattern), series(seriesPattern) {}

    ValuePattern patient; ///< on PatientID (0010,0020)
    ValuePattern study;   ///< on StudyInstanceUID (0020,000D)
    ValuePattern series;  ///< on SeriesInstanceUID (0020,000E)
};

inline const std::string ALL_PATIENTS = ".*";
inline const std::string ALL_STUDIES = ".*";
inline const std::string ALL_SERIES = ".*";

/// A predicate on items: all values of an attribute, joined by "\", match. An absent attribute is the empty text.
struct MatchingProperty {
    DcmTagKey key;
    ValuePattern pattern;

    bool operator()(DcmItem* item) const;
};

inline MatchingProperty matchingProperty(const DcmTagKey& key, const ValuePattern& pattern) { return {key, pattern}; }

} // namespace radvex
