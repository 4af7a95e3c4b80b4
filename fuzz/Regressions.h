#pragma once

#include <string>
#include <vector>

#include "fuzz/SeedFiles.h"

namespace radvex::fuzz {

/// Inputs of a target that once failed, each made by code from a file that is made by code. A name says what was wrong.
std::vector<SeedFile> regressionsOf(const std::string& target);

} // namespace radvex::fuzz
