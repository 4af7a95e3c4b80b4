#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"
#include "deidentify/profile/ProfileOptions.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// Writes what was done into a dataset (PS3.15, E.1.1): PatientIdentityRemoved, DeidentificationMethod and its codes,
/// and LongitudinalTemporalInformationModified. What an earlier de-identification wrote stays before it.
/// @throws std::runtime_error  part of a sentence
void addMethod(DcmDataset& dataset, const ProfileOptions& options);

/// What `addMethod` writes into DeidentificationMethod: one value for the profile and one for each option.
std::string methodOf(const ProfileOptions& options);

} // namespace radvex::deidentify
