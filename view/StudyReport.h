#pragma once

#include <string>

#include "view/Answers.h"

namespace radvex::view {

/// One HTML page without scripts about all studies: previews of each series, what its files are, whether they make a
/// volume, and how it was acquired.
std::string studyReport(Answers& answers);

} // namespace radvex::view
