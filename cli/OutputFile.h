#pragma once

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

namespace radvex::cli {

/// A file cannot be read or written, or does not hold what it should. What it says is a sentence.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Writes a file under a temporary name beside it and renames it when it is whole, so that a failure costs nothing that
/// was there before. "-" is the standard output.
/// @param write  gets the open file; false when it failed
/// @throws FileError
void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write);

/// The same for a writer that wants a path. An exception of its own leaves nothing behind. For "-" the file is copied
/// to the standard output when it is whole.
/// @param write  gets the path of an empty file that it replaces or fills
/// @throws FileError
void writeOutputPath(const std::string& path, const std::function<void(const std::string& temporary)>& write);

} // namespace radvex::cli
