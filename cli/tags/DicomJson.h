#pragma once

#include <string>
#include <vector>

#include "media/ElementList.h"

namespace radvex::cli {

/// Appends the elements of a dataset as an object of the DICOM JSON Model (PS3.18, annex F), without the file meta
/// information, which the model leaves out. Bytes stand in the object itself (InlineBinary).
/// @param elements  with their values as ElementValues::Text and their bytes
void appendDicomJson(std::string& json, const std::vector<media::Element>& elements);

} // namespace radvex::cli
