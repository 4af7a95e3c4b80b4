#pragma once

#include "formats/json/LosslessJson.h"
#include "volume/VolumeSeries.h"

namespace radvex::volume {

/// Steps, origin (null without a place) and spacings, in mm and LPS.
formats::Json describeGeometry(const formats::VolumeGeometry& geometry);

/// The findings as a list of {"kind", "error", "sentence", "files"}.
formats::Json describeFindings(const std::vector<Finding>& findings);

/// One line: size, type and spacings.
std::string volumeSummary(const formats::VolumeHeader& header);

} // namespace radvex::volume
