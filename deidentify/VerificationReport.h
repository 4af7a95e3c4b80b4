#pragma once

#include <string>

#include "deidentify/Verification.h"

namespace radvex::deidentify {

/// What was found, as JSON. It holds no value of a file and no path of the originals, and no path of the output that
/// shows an identifier, so that it can be passed on.
std::string verificationReport(const VerificationResult& result);

/// One line for each kind of finding with the number of files, and a few of these.
/// @param output  the folder that was checked
std::string verificationSummary(const std::string& output, const VerificationResult& result);

} // namespace radvex::deidentify
