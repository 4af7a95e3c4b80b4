#pragma once

#include <string>

#include "files/Errors.h"

namespace radvex::files {

/// Something cannot be written; the sentence has the system's reason.
class WriteError : public FileError {
  public:
    WriteError(const std::string& path, int reason);
    int reason() const { return mReason; }

  private:
    int mReason;
};

/// A private, hidden folder: files are made in it and get their names when they are whole. What is left in it goes with
/// this object.
class StagingFolder {
  public:
    /// In the place for temporary files. @throws FileError
    StagingFolder();
    /// @param place  an existing folder, beside the files to be written @throws WriteError
    explicit StagingFolder(const std::string& place);
    ~StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    const std::string& path() const { return mPath; }
    std::string file(const std::string& name) const { return mPath + '/' + name; }

    /// For a process that was forked from the one that made the folder: that one alone holds it from here on.
    void leaveToOwner();

    /// Gives a finished file its name. What is no file is never replaced.
    /// @param mayReplace  a file of that name that is there already
    /// @throws FileError  a WriteError where the system refused
    static void publish(const std::string& staged, const std::string& target, bool mayReplace);

    /// Removes folders that runs which were killed left in a place: those that no process holds.
    static void removeLeftovers(const std::string& place);

  private:
    void make(const std::string& place);

    std::string mPath{};
    int mLock = -1; ///< held while this object lives
};

/// Renaming would put a file in the place of a device. @throws FileError  something is there that is no file
void requireFile(const std::string& path);

} // namespace radvex::files
