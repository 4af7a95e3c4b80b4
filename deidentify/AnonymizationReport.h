#pragma once

#include <string>

#include "deidentify/Anonymizer.h"

namespace radvex::deidentify {

struct ReportOptions {
    bool hasOriginals = false;        ///< paths of the input and values before, which identify the patient
    const Profile* profile = nullptr; ///< that was asked for
};

/// What became of each file, as JSON.
std::string anonymizationReport(const AnonymizationResult& result, const ReportOptions& options);

/// For people: how many files, which attributes may still identify the patient and in how many files, and what a
/// profile could not do. Several lines.
std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result, const Profile* profile);

} // namespace radvex::deidentify
