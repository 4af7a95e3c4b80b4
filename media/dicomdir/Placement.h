#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "files/StagingFolder.h"

namespace radvex::media {

/// A DICOMDIR and its links on their way into a folder. Until `publish` there is no file DICOMDIR in it, and what was
/// made goes with this object.
class Placement {
  public:
    /// @param place  made when it is not there
    /// @throws std::runtime_error  a sentence: it cannot be written, or has a DICOMDIR
    explicit Placement(const std::string& place);
    ~Placement();
    Placement(const Placement&) = delete;
    Placement& operator=(const Placement&) = delete;

    /// Where the DICOMDIR is to be written.
    std::string draft() const { return mStaging->file("DICOMDIR"); }

    /// The next File ID that is free in the folder, or taken by a link to that very target.
    std::string fileIdFor(const std::string& target);
    /// Makes the link of a File ID that `fileIdFor` gave.
    void link(const std::string& fileId, const std::string& target);

    /// Gives the draft its name. Never replaces a file. @return path of the DICOMDIR
    std::string publish();

  private:
    [[noreturn]] void fail(int reason) const;

    std::filesystem::path mPlace;
    bool mIsPlaceMade = false;
    std::optional<files::StagingFolder> mStaging{}; ///< inside; empty only while this object is made or goes
    bool mIsPublished = false;
    unsigned mNext = 0;
    std::vector<std::filesystem::path> mLinks{};
};

} // namespace radvex::media
