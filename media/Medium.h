#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "files/StagingFolder.h"
#include "media/FolderIndex.h"
#include "workers/Workers.h"

namespace radvex::media {

/// A DICOMDIR, or a plain folder that is indexed into a temporary place which goes with this object. Nothing is written
/// into the folder.
///
/// For an indexed folder the library is given the temporary DICOMDIR and names files by the links beside it. What it
/// says is turned back with `userPath` and `userText` before anyone sees it.
class Medium {
  public:
    /// @param place     a file whose name ends in DICOMDIR or dicomdir, or a folder: one of that very name in it is
    ///                  taken, else the folder is indexed
    /// @param jobs      processes that read the files of a folder; 0: this one does
    /// @throws UsageError  a file of another name
    /// @throws FileError   nothing there, or a folder that cannot be indexed or holds nothing to index
    explicit Medium(const std::string& place, std::size_t jobs = 0,
                    const workers::Progress& progress = workers::withoutProgress);
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;

    /// What the user named.
    const std::string& place() const { return mPlace; }
    /// What the library is given.
    const std::string& dicomdir() const { return mDicomdir; }

    /// The path that the user knows for one that the library gives. Paths outside the index come back unchanged.
    std::string userPath(const std::string& libraryPath) const;

    /// A message of the library with every path of the index replaced by the user's.
    std::string userText(std::string message) const;

    /// The index of a plain folder; empty for a DICOMDIR.
    const FolderIndex& index() const { return mIndex; }

    bool isIndexed() const { return mIndexed != nullptr; }

  private:
    void makeIndex(std::size_t jobs, const workers::Progress& progress);
    /// The user's name for what stands behind the temporary place in a path, as far as it is one.
    std::string userPathOf(const std::string& name) const;

    std::string mPlace;
    std::string mDicomdir{};
    std::unique_ptr<files::StagingFolder> mIndexed{};
    FolderIndex mIndex{};
    std::unordered_map<std::string, std::string> mPathOfLink{}; ///< by File ID
};

} // namespace radvex::media
