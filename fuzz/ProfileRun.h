#pragma once

#include <string>
#include <vector>

#include "fuzz/Choices.h"
#include "fuzz/Harness.h"

namespace radvex::fuzz {

/// De-identifies the files of a run by the profile: all are learnt, then each is rewritten. The options come from the
/// choices.
/// @throws std::runtime_error  a new file does not open, or a text in it holds an identifier of the run
void runProfile(Harness& harness, const Choices& choices, const std::vector<std::string>& originals);

} // namespace radvex::fuzz
