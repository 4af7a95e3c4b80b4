#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "files/StagingFolder.h"
#include "media/FolderReading.h"

namespace radvex::media {

/// Makes a DICOMDIR and its links in a staging folder. A new output folder gets its name once everything is in it; in a
/// folder that exists, the links get theirs one by one and the DICOMDIR last, so that an interrupted run leaves at most
/// links, which the next run takes over.
class IndexOutput final : public IndexTarget {
  public:
    /// @param mayReplace  whether a DICOMDIR in the folder may be replaced
    /// @throws std::runtime_error  a sentence: the folder cannot be written, or has a DICOMDIR that stays
    IndexOutput(const std::string& folder, bool mayReplace);
    ~IndexOutput() override;
    IndexOutput(const IndexOutput&) = delete;
    IndexOutput& operator=(const IndexOutput&) = delete;

    std::string draft() const override { return mStaging->file("DICOMDIR"); }
    std::string fileIdFor(const std::string& target) override;
    void link(const std::string& fileId, const std::string& target) override;
    std::string publish() override;

  private:
    void publishOneByOne();
    [[noreturn]] void fail(int reason) const;

    std::filesystem::path mFolder;
    bool mMayReplace;
    bool mIsFolderNew = false;
    std::optional<files::StagingFolder> mStaging{}; ///< empty only during construction
    unsigned mNextNumber = 0;                       ///< of a File ID
    std::vector<std::string> mFileIds{};            ///< of the links in the staging folder
    std::vector<std::filesystem::path> mPublished{};
};

} // namespace radvex::media
