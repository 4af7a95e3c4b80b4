#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"
#include "deidentify/rewriting/DatasetText.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::deidentify {

/// Reads what identifies somebody in an original file, as far as the options do not keep it: UIDs of instances, numbers
/// of the patient and of his or her visits, names of persons, dates, addresses, telephone numbers, institutions and
/// devices, at any depth and in the meta information.
LearntFile learnIdentifiers(DcmFileFormat& file, const ProfileOptions& options, TextDecoder& decoder);

/// PatientID of a dataset; where it has none what else tells patients apart: name and birth date, or the study.
std::string patientOf(DcmDataset& dataset, TextDecoder& decoder);

} // namespace radvex::deidentify
