#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace radvex::files {

/// @throws FileError  the sentence for a path that cannot be written, with the system's reason
[[noreturn]] void failToWrite(const std::string& path, int reason);

/// Writes a file in a staging folder beside it and renames it when it is whole, so that a failure costs nothing that
/// was there before. "-" is the standard output.
/// @param write  gets the open file; false when it failed
/// @throws FileError
void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write);

/// The same for a writer that wants a path. An exception of its own leaves nothing behind. For "-" the file is copied
/// to the standard output when it is whole.
/// @param write  gets the path of a file to make; nothing is there yet
/// @throws FileError
void writeOutputPath(const std::string& path, const std::function<void(const std::string& temporary)>& write);

} // namespace radvex::files
