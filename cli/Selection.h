#pragma once

#include <string>

#include "CommandLine.h"

namespace radvex::cli {

/// Patterns that choose patients, studies and series: ECMAScript regular expressions that the whole value has to match.
struct Selection {
    std::string patient = ".*"; ///< on PatientID
    std::string study = ".*";   ///< on StudyInstanceUID
    std::string series = ".*";  ///< on SeriesInstanceUID

    void addTo(const CommandLine& command);
    /// The library answers a malformed pattern with a bare code, so the reason is found here.
    /// @throws UsageError
    void check() const;
};

/// The pattern that matches a text and nothing else.
std::string exactPattern(const std::string& text);

} // namespace radvex::cli
