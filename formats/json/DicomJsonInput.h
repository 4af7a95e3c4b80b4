#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "formats/json/Attributes.h"
#include "formats/json/LosslessJson.h"

namespace radvex::formats {

/// Whether JSON is in the form of the DICOM JSON Model (PS3.18, annex F): an object whose keys are tags of eight
/// hexadecimal digits, or a list with one such object.
bool isDicomJson(const Json& json);

/// Attributes from the DICOM JSON Model.
struct DicomJsonInput {
    Attributes attributes{};
    /// What was left out, as parts of sentences: why -> which ones. A file that is made from pictures cannot take the
    /// description of other pixels, nor attributes that the dictionary does not know.
    std::map<std::string, std::vector<std::string>> leftOut{};
};

/// @param name  the file, for the source of each attribute
/// @param keywords  of tags; empty for one that the dictionary does not know
/// @throws FileError  a member is malformed, or its bytes are elsewhere (BulkDataURI); the sentence names the source
DicomJsonInput attributesFromDicomJson(const std::string& name, const Json& json,
                                       const std::function<std::string(const std::string& tag)>& keywordOf);

} // namespace radvex::formats
