#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace radvex::files {

/// Writes a file in a staging folder beside it and renames it once it is complete, so that a failure leaves an existing
/// file as it was. "-" is the standard output.
/// @param write  receives the open file; returns false when it failed
/// @throws FileError
void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write);

/// The same with a text. @throws FileError
void writeOutputText(const std::string& path, const std::string& text);

/// The same for a writer that needs a path. If it throws, nothing is left behind. For "-" the complete file is copied
/// to the standard output.
/// @param write  receives the path of the file to make, which does not exist yet
/// @throws FileError
void writeOutputPath(const std::string& path, const std::function<void(const std::string& temporary)>& write);

} // namespace radvex::files
