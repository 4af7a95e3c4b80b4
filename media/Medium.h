#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "files/StagingFolder.h"
#include "media/FolderIndex.h"
#include "workers/Workers.h"

namespace radvex::media {

/// A DICOMDIR, or a plain folder, which is indexed into a temporary folder that is removed with this object. Nothing is
/// written into the plain folder.
///
/// For a plain folder, the library reads the temporary DICOMDIR and names files by the links beside it. `userPath` and
/// `userText` turn its paths into those of the user.
class Medium {
  public:
    /// @param path  a file whose name ends in DICOMDIR or dicomdir, or a folder. If the folder has a file of exactly
    /// such
    ///              a name, that is taken; otherwise the folder is indexed
    /// @param jobs  processes that read the files of a folder; 0: this one does
    /// @throws UsageError  a file with another name
    /// @throws FileError   the path does not exist, or the folder cannot be indexed or holds nothing to index
    explicit Medium(const std::string& path, std::size_t jobs = 0,
                    const workers::Progress& progress = workers::withoutProgress);
    /// A file alone, which no directory lists: the library reads it by its path.
    struct SingleFile {
        std::string path{};
    };
    explicit Medium(const SingleFile& file) : mPath(file.path) {}
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    /// The path that the user gave.
    const std::string& path() const { return mPath; }
    /// The DICOMDIR that the library reads.
    const std::string& dicomdir() const { return mDicomdir; }

    /// The user's path for a path from the library. Paths outside the index are returned unchanged.
    std::string userPath(const std::string& libraryPath) const;

    /// A message of the library, with every path of the index replaced by the user's.
    std::string userText(std::string message) const;

    /// The index of a plain folder; empty for a DICOMDIR.
    const FolderIndex& index() const { return mIndex; }

    bool isIndexed() const { return mIndexed != nullptr; }

  private:
    void makeIndex(std::size_t jobs, const workers::Progress& progress);
    /// The user's path for the name of a file in the temporary folder; empty if there is no such file.
    std::string userPathOf(const std::string& name) const;

    std::string mPath;
    std::string mDicomdir{};
    std::unique_ptr<files::StagingFolder> mIndexed{};
    FolderIndex mIndex{};
    std::unordered_map<std::string, std::string> mPathByFileId{};
};

} // namespace radvex::media
