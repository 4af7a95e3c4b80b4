#pragma once

#include <string>
#include <vector>

#include "fuzz/SeedFiles.h"

namespace radvex::fuzz {

/// Inputs that a target starts from. @throws std::invalid_argument  there is no target of that name
std::vector<SeedFile> seedsOf(const std::string& target);

/// Words for libFuzzer's dictionary: the tags of attributes that decide something, representations, transfer syntaxes
/// and terms.
std::vector<std::string> dictionaryWords();

} // namespace radvex::fuzz
