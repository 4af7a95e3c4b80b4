#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"
#include "deidentify/rewriting/DatasetText.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::deidentify {

/// Reads what identifies somebody in an original file, as far as the options do not keep it: UIDs of instances, numbers
/// of the patient and of his or her visits, names of persons, dates, addresses, telephone numbers, institutions and
/// devices, at any depth and in the meta information.
LearntFile learnIdentifiers(DcmFileFormat& file, const ProfileOptions& options, TextDecoder& decoder);

/// What an attribute holds by its tag alone; nothing for those that only their type tells.
std::optional<IdentifierKind> kindOfAttribute(const DcmTagKey& key);

/// The values of a text without padding. A text of a type in which backslashes mean nothing is one value.
std::vector<std::string> valuesOf(const std::string& text, DcmEVR vr);

/// PatientID of a dataset; where it has none what else tells patients apart: name and birth date, or the study.
std::string patientOf(DcmDataset& dataset, TextDecoder& decoder);

} // namespace radvex::deidentify
