#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "files/StagingFolder.h"
#include "media/FolderReading.h"

namespace radvex::media {

/// The folder that an index is written into, and the names of links that are free in it.
class IndexFolder {
  public:
    /// @param mayReplace  whether a DICOMDIR in the folder may be replaced
    /// @throws std::runtime_error  a sentence: the folder has a DICOMDIR that stays
    IndexFolder(const std::string& folder, bool mayReplace);

    const std::filesystem::path& path() const { return mPath; }
    bool isNew() const { return mIsNew; }
    /// An existing folder in which the new one, or what is new in it, is made.
    std::string stagingParent() const;
    std::string fileIdFor(const std::string& target);
    /// The File ID was used.
    void take() { ++mNextNumber; }
    /// @throws std::runtime_error  a sentence with the system's reason
    [[noreturn]] void fail(int reason) const;
    [[noreturn]] void failBecauseOfDicomdir() const;

  private:
    std::filesystem::path mPath;
    bool mIsNew = false;
    unsigned mNextNumber = 0; ///< of a File ID
};

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

    IndexFolder mFolder;
    bool mMayReplace;
    std::optional<files::StagingFolder> mStaging{}; ///< empty only during construction
    std::vector<std::string> mFileIds{};            ///< of the links in the staging folder
    std::vector<std::filesystem::path> mPublished{};
};

/// Makes the DICOMDIR in the folder for temporary files and throws it away. The output folder is only looked at.
class IndexRehearsal final : public IndexTarget {
  public:
    /// @throws std::runtime_error  as IndexOutput; also when the folder could not be written
    IndexRehearsal(const std::string& folder, bool mayReplace);

    std::string draft() const override { return mStaging.file("DICOMDIR"); }
    std::string fileIdFor(const std::string& target) override { return mFolder.fileIdFor(target); }
    void link(const std::string& fileId, const std::string& target) override;
    std::string publish() override { return (mFolder.path() / "DICOMDIR").string(); }

    /// What the links would do to the folder.
    LinkChanges changes() const;

  private:
    IndexFolder mFolder;
    files::StagingFolder mStaging{};
    std::vector<std::string> mFileIds{};
};

} // namespace radvex::media
