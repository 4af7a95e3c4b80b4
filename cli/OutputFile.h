#pragma once

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

namespace radvex::cli {

/// The file system refused what was asked of it. What it says is a sentence.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Writes a file under a temporary name beside it and renames it when it is whole, so that a failure costs nothing that
/// was there before. "-" is the standard output.
/// @param write  gets the open file; false when it failed
/// @throws FileError
void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write);

} // namespace radvex::cli
