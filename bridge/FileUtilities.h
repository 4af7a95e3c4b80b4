#pragma once

#include <cstdio>
#include <fstream>
#include <ios>
#include <memory>
#include <string>

namespace GTU {

/// How other processes may open a file while it is open here. This platform has no such thing: the policy is not used.
class SharePolicy {
  public:
    virtual ~SharePolicy() = default;
    virtual int flag(std::ios_base::openmode /*mode*/) { return 0; }
};

class AlwaysReadExclusiveWrite : public SharePolicy {
  public:
    ~AlwaysReadExclusiveWrite() override = default;
};

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

/// Takes over an open file.
FilePtr claimFile(std::FILE* file);

/// Opens a file if the host allows it. The path is checked before the mode.
/// @throws GantryError  PathNotValidated (the path), InvalidOpenMode when `fopen` has no such mode, OpenFileFailed
///                      (the path)
FilePtr openFile(const std::string& path, std::ios_base::openmode mode, const SharePolicy& policy);

/// Opens a file as a stream if the host allows it. The mode is used as it is.
/// @throws GantryError  PathNotValidated (the path), OpenFileFailed (the path)
std::fstream openFileStream(const std::string& path, std::ios_base::openmode mode, const SharePolicy& policy);

} // namespace GTU
