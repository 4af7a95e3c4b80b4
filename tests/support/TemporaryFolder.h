#pragma once

#include <filesystem>
#include <string>

namespace radvex::test {

/// A fresh folder that goes with its scope.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Path of a file in the folder.
    std::string file(const std::string& name) const { return (mPath / name).string(); }
    const std::filesystem::path& path() const { return mPath; }

    /// Writes a file of these bytes and gives its path.
    std::string write(const std::string& name, const std::string& bytes) const;

  private:
    std::filesystem::path mPath;
};

/// The bytes of a file. @throws std::runtime_error  when it cannot be read
std::string readFile(const std::string& path);

} // namespace radvex::test
