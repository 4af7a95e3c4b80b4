#pragma once

#include <string>

#include "Anonymizer.h"

namespace radvex::cli {

struct ReportOptions {
    bool hasOriginals = false;               ///< paths of the input and values before, which identify the patient
    const study::Profile* profile = nullptr; ///< that was asked for
};

/// What became of each file, as JSON.
std::string anonymizationReport(const AnonymizationResult& result, const ReportOptions& options);

/// For people: how many files, which attributes may still identify the patient and in how many files, and what a
/// profile could not do. Several lines.
std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result,
                                 const study::Profile* profile);

} // namespace radvex::cli
