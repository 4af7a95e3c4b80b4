#pragma once

#include <string>
#include <vector>

namespace radvex::cli {

/// What a program prints to its standard output; its standard error goes nowhere. Empty when it cannot be started.
/// @param words  its path, and what follows it
std::string outputOfProgram(std::vector<std::string> words);

} // namespace radvex::cli
