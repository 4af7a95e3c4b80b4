#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace radvex::files {

/// All bytes of a file; "-" is the standard input.
/// @throws FileError
std::vector<std::byte> readInputFile(const std::string& path);

/// The same as text. @throws FileError
std::string readInputText(const std::string& path);

} // namespace radvex::files
