#pragma once

#include <string>
#include <unordered_map>

#include "files/StagingFolder.h"
#include "media/FolderIndex.h"

namespace radvex::media {

/// A DICOMDIR of a plain folder for functions of the library that need one, in a private folder that is removed with
/// this object. The library then names files by the links beside it; `userPath` and `userText` turn its paths into
/// those of the user.
class TemporaryIndex {
  public:
    /// @throws FileError  the folder cannot be indexed or holds nothing to index
    explicit TemporaryIndex(const std::string& folder, std::size_t jobs = 0,
                            const workers::Progress& progress = workers::withoutProgress);
    TemporaryIndex(const TemporaryIndex&) = delete;
    TemporaryIndex& operator=(const TemporaryIndex&) = delete;

    const std::string& dicomdir() const { return mIndex.dicomdir; }

    /// The user's path for a path from the library. Paths outside the index are returned unchanged.
    std::string userPath(const std::string& libraryPath) const;

    /// A message of the library, with every path of the index replaced by the user's.
    std::string userText(std::string message) const;

  private:
    /// The user's path for the name of a file in the temporary folder; empty if there is no such file.
    std::string userPathOf(const std::string& name) const;

    std::string mPath;
    files::StagingFolder mStaging{};
    FolderIndex mIndex;
    std::unordered_map<std::string, std::string> mPathByFileId{};
};

} // namespace radvex::media
