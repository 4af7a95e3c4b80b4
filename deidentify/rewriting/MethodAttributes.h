#pragma once

#include "dcmtk/config/osconfig.h"
#include "deidentify/profile/ProfileOptions.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// Adds a code of CID 7050 to those of what was done. @throws std::runtime_error  part of a sentence
void addMethodCode(DcmDataset& dataset, std::string_view code, std::string_view meaning);

/// Writes what was done into a dataset (PS3.15, E.1.1): PatientIdentityRemoved, DeidentificationMethod and its codes,
/// and LongitudinalTemporalInformationModified. What an earlier de-identification wrote stays before it, and dates that
/// it removed or moved stay called so.
/// @param settings  what tells runs with the same key and all the same settings
/// @throws std::runtime_error  part of a sentence
void addMethod(DcmDataset& dataset, const ProfileOptions& options, const std::string& settings = "");

/// Whether the last de-identification that DeidentificationMethod tells of is one with exactly these options.
bool isMadeWith(DcmDataset& dataset, const ProfileOptions& options, const std::string& settings = "");

} // namespace radvex::deidentify
