#pragma once

#include <regex>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex {

/// An ECMAScript pattern that a whole value has to match, case-sensitive. Whatever the pattern, the caller's stack may
/// be small.
class ValuePattern {
  public:
    /// @throws std::regex_error  a malformed pattern, one over 1024 bytes, one with over 64 groups open at once or of
    ///                           over 1600 states (PatternSize.h), 1400 with a back-reference
    explicit ValuePattern(const std::string& pattern);

    /// Takes time polynomial in the value's length. With a back-reference no such matcher exists: then a value over
    /// 256 bytes, or over 1400 divided by the pattern's states, does not match.
    /// @throws std::regex_error  (error_complexity) when a pattern with a back-reference is not decided after four
    ///                           million looks at places, less with many states: about a second
    bool matches(const std::string& value) const;

  private:
    static constexpr auto kAnyLength = static_cast<std::size_t>(-1);

    bool mMatchesEverything;
    std::size_t mLongestValue = kAnyLength; ///< that the matcher may be given
    std::size_t mMostLooks = 0;             ///< with a back-reference
    std::regex mRegex{};
};

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

extern const std::string ALL_PATIENTS;
extern const std::string ALL_STUDIES;
extern const std::string ALL_SERIES;

/// A predicate on items: the whole value of an attribute matches. An absent attribute is the empty text.
class MatchingProperty {
  public:
    MatchingProperty(const DcmTagKey& itsKey, const ValuePattern& itsPattern) : key(itsKey), pattern(itsPattern) {}
    bool operator()(DcmItem* item) const;

  private:
    DcmTagKey key;
    ValuePattern pattern;
};

inline MatchingProperty matchingProperty(const DcmTagKey& key, const ValuePattern& pattern) { return {key, pattern}; }

} // namespace radvex
