#pragma once

#include <string>

#include "formats/json/Attributes.h"
#include "formats/json/LeftOut.h"
#include "formats/json/LosslessJson.h"

namespace radvex::formats {

/// Whether JSON is in the form of the DICOM JSON Model (PS3.18, annex F): an object whose keys are tags of eight
/// hexadecimal digits, or a list with one such object.
bool isDicomJson(const Json& json);

/// Attributes from the DICOM JSON Model.
/// @param name  the file, for the source of each attribute
/// @throws FileError  a member is malformed, or its bytes are elsewhere (BulkDataURI); the sentence names the source
Attributes attributesFromDicomJson(const std::string& name, const Json& json, Dictionary& dictionary, LeftOut& leftOut);

} // namespace radvex::formats
