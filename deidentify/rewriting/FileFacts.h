#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dcmtk/config/osconfig.h"
#include "deidentify/FileCheck.h"
#include "deidentify/rewriting/DatasetText.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// Hash of a text; 0 for an empty one.
ValueHash hashOf(std::string_view text);
/// Hash of a value in an attribute.
ValueHash hashOf(const DcmTagKey& key, std::string_view value);

/// The values of an element in UTF-8, without padding and without empty ones. None of long ones, which identify nobody
/// by being equal.
std::vector<std::string> valuesAsText(DcmElement& element, const std::string& characterSet, TextDecoder& decoder);

/// Where an instance belongs and what it refers to.
InstanceFacts factsOf(DcmDataset& dataset, TextDecoder& decoder);

/// Dates and times of an instance together with what tells it from others of its series, so that two instances have the
/// same only when one was made of the other; 0 for one without dates and times.
ValueHash moment(DcmDataset& dataset);

/// All values that a profile may change, each with its attribute, and the moment.
std::vector<ValueHash> changeableValues(DcmDataset& dataset, TextDecoder& decoder);

/// Whether raw pixels hold less than the attributes say. The pixels are not read.
bool hasShortPixels(DcmDataset& dataset);

/// The records of a directory that list files. @throws std::runtime_error  part of a sentence
std::vector<ListedRecord> recordsOf(const std::string& dicomdir);

} // namespace radvex::deidentify
