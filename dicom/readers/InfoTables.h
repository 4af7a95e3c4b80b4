#pragma once

#include <string>
#include <unordered_map>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctagkey.h"

namespace radvex {

/// Friendly keys of well-known properties and the attributes behind them. Case matters.
using InfoTable = std::unordered_map<std::string, DcmTagKey>;

extern const InfoTable PATIENT_INFO_MAP;
extern const InfoTable STUDY_INFO_MAP;
extern const InfoTable SERIES_INFO_MAP;

} // namespace radvex
