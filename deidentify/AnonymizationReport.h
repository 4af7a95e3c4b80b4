#pragma once

#include <string>

#include "deidentify/Anonymizer.h"

namespace radvex::deidentify {

struct ReportOptions {
    bool hasOriginals = false;        ///< show paths of the input and original values, which identify the patient
    const Profile* profile = nullptr; ///< the one that the user asked for; may be null
};

/// The result for each file, as JSON.
std::string anonymizationReport(const AnonymizationResult& result, const ReportOptions& options);

/// Several lines for people: how many files, which attributes may still identify the patient, in how many files, and
/// what a profile could not do.
std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result, const Profile* profile);

} // namespace radvex::deidentify
