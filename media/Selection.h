#pragma once

#include <string>

namespace radvex::media {

/// Patterns that choose patients, studies and series: ECMAScript regular expressions that the whole value has to match.
struct Selection {
    std::string patient = ".*"; ///< on PatientID
    std::string study = ".*";   ///< on StudyInstanceUID
    std::string series = ".*";  ///< on SeriesInstanceUID
};

/// The library answers a malformed pattern with a bare code, so the reason is found here.
/// @return why the pattern cannot be used, part of a sentence; empty for one that can
std::string whyUnusable(const std::string& pattern);

/// The pattern that matches a text and nothing else.
std::string exactPattern(const std::string& text);

} // namespace radvex::media
