#pragma once

#include <string>

#include "media/FolderListing.h"
#include "workers/Workers.h"

namespace radvex::media {

/// A DICOMDIR, or a plain folder, which is read file by file. Nothing is written into the plain folder.
class Medium {
  public:
    /// @param path  a file whose name ends in DICOMDIR or dicomdir, or a folder. If the folder has a file of exactly
    /// such
    ///              a name, that is taken; otherwise its files are read
    /// @param jobs  processes that read the files of a folder; 0: this one does
    /// @throws UsageError  a file with another name
    /// @throws FileError   the path does not exist, or the folder cannot be read or holds nothing to list
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
    /// A plain folder: its files are listed here, and there is no DICOMDIR.
    bool isFolder() const { return mDicomdir.empty(); }
    /// What was read from a plain folder; empty for a DICOMDIR.
    const FolderListing& listing() const { return mListing; }

    /// The DICOMDIR that the library reads; empty for a plain folder.
    const std::string& dicomdir() const { return mDicomdir; }

  private:
    std::string mPath;
    std::string mDicomdir{};
    FolderListing mListing{};
};

} // namespace radvex::media
