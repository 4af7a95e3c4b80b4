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

/// Hash of what tells an instance from others and stays when its dates are moved: times of day and numbers; 0 when it
/// has no time of day.
ValueHash markOf(DcmDataset& dataset);

/// Hash of a date of the instance with this mark, which no other instance has by chance. 0 for a date of which that
/// cannot be said.
ValueHash hashOfDate(const DcmTagKey& key, std::string_view value, ValueHash mark);

/// All values that a profile may change, each with its attribute, and the dates with the mark of the instance.
std::vector<ValueHash> changeableValues(DcmDataset& dataset, TextDecoder& decoder);

/// Whether raw pixels hold less than the attributes say. The pixels are not read.
bool hasShortPixels(DcmDataset& dataset);

/// The records of a directory that list files. @throws std::runtime_error  part of a sentence
std::vector<ListedRecord> recordsOf(const std::string& dicomdir);

} // namespace radvex::deidentify
