#pragma once

#include <optional>
#include <string>

#include "deidentify/Anonymizer.h"

namespace radvex::deidentify {

/// What a run was asked to do.
struct ReportedRun {
    std::optional<ProfileOptions> profile{}; ///< that was applied
    bool isDryRun = false;
    bool hasOriginals = false; ///< show paths of the input and original values, which identify the patient
};

/// The result for each file, as JSON. Without originals it can be passed on: it holds values that this program made,
/// and no others.
std::string anonymizationReport(const AnonymizationResult& result, const ReportedRun& run);

/// Ten lines or so for people: how many files, what was done to their attributes, and what may still identify the
/// patient, in how many files.
std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result, const ReportedRun& run);

/// The last of these lines: what may still identify the patient, in how many files. Empty when nothing does.
std::string remainingLines(const AnonymizationResult& result);

} // namespace radvex::deidentify
