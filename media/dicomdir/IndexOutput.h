#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "files/StagingFolder.h"

namespace radvex::media {

/// Writes a DICOMDIR and its links into a folder. Until `publish`, the folder has no DICOMDIR, and this object removes
/// what it made.
class IndexOutput {
  public:
    /// @param folder  made if it does not exist
    /// @throws std::runtime_error  a sentence: it cannot be written, or has a DICOMDIR
    explicit IndexOutput(const std::string& folder);
    ~IndexOutput();
    IndexOutput(const IndexOutput&) = delete;
    IndexOutput& operator=(const IndexOutput&) = delete;

    /// Path at which the DICOMDIR is to be written.
    std::string draft() const { return mStaging->file("DICOMDIR"); }

    /// The next File ID that is free in the folder, or is the name of a link to this target.
    std::string fileIdFor(const std::string& target);
    /// Makes the link for a File ID from `fileIdFor`.
    void link(const std::string& fileId, const std::string& target);

    /// Gives the draft its final name; never replaces a file. @return path of the DICOMDIR
    std::string publish();

  private:
    [[noreturn]] void fail(int reason) const;

    std::filesystem::path mFolder;
    bool mIsFolderNew = false;
    std::optional<files::StagingFolder> mStaging{}; ///< empty only during construction and destruction
    bool mIsPublished = false;
    unsigned mNextNumber = 0; ///< of a File ID
    std::vector<std::filesystem::path> mLinks{};
};

} // namespace radvex::media
