#pragma once

#include <string>
#include <vector>

#include "deidentify/pixels/MaskRules.h"

namespace radvex::deidentify {

/// The rules in a JSON text. @param file  name for messages
/// @throws std::runtime_error  a sentence with the place in the file and an example
std::vector<MaskRule> readRuleFile(const std::string& text, const std::string& file);

} // namespace radvex::deidentify
