#pragma once

#include "LosslessJson.h"
#include "VolumeSeries.h"

namespace radvex::cli {

/// Steps, origin (null without a place) and spacings, in mm and LPS.
Json describeGeometry(const VolumeGeometry& geometry);

/// The findings as a list of {"kind", "error", "sentence", "files"}.
Json describeFindings(const std::vector<Finding>& findings);

/// One line: size, type and spacings.
std::string volumeSummary(const VolumeHeader& header);

} // namespace radvex::cli
