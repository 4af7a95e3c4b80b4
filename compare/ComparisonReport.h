#pragma once

#include <string>

#include "compare/FileComparison.h"
#include "formats/json/LosslessJson.h"

namespace radvex::compare {

/// What differs between two files, a line for each difference: "-" and "+" in front of what only the first or only the
/// second file has, "!" in front of what differs. Empty for equal files.
std::string reportText(const FileComparison& comparison, double tolerance);

/// The same as {"equal", "attributes": [{"path", "difference", "first", "second"}], "pixels"}. A value that a file
/// lacks is null, and so are "pixels" that were not looked at or that no file has.
formats::Json reportJson(const FileComparison& comparison);

} // namespace radvex::compare
