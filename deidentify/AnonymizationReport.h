#pragma once

#include <optional>
#include <string>

#include "deidentify/Anonymizer.h"

namespace radvex::deidentify {

/// The result for each file, as JSON.
/// @param profile       the profile that was applied
/// @param hasOriginals  whether to show paths of the input and original values, which identify the patient
std::string anonymizationReport(const AnonymizationResult& result, const std::optional<Profile>& profile,
                                bool hasOriginals);

/// Several lines for people: how many files, which attributes may still identify the patient, in how many files, and
/// what a profile could not do.
std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result,
                                 const std::optional<Profile>& profile);

} // namespace radvex::deidentify
