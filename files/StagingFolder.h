#pragma once

#include <string>

#include "files/Errors.h"

namespace radvex::files {

/// A file or folder cannot be written. The sentence contains the system's reason.
class WriteError : public FileError {
  public:
    WriteError(const std::string& path, int reason);
    int reason() const { return mReason; }

  private:
    int mReason;
};

/// A private, hidden folder in which files are made before they get their final names. It is removed with this object,
/// with everything left in it; also by a signal that ends a process which calls removeFoldersOnEndSignals().
class StagingFolder {
  public:
    // The first one of a process in a folder removes what killed runs left there.

    /// In the system's folder for temporary files. @throws FileError
    StagingFolder();
    /// @param parent  an existing folder, on the file system of the files to be written @throws WriteError
    explicit StagingFolder(const std::string& parent);
    ~StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    const std::string& path() const { return mPath; }
    std::string file(const std::string& name) const { return mPath + '/' + name; }

    /// Gives up the lock. For a forked process, so that only the process that made the folder holds it.
    void leaveToOwner();

    /// Gives a finished file its final name. Only regular files are ever replaced.
    /// @param mayReplace  whether an existing file of that name may be replaced
    /// @throws FileError  a WriteError when the system refused
    static void publish(const std::string& staged, const std::string& target, bool mayReplace);

    /// Moves the whole folder to its final name, which an empty folder may have. Nothing is removed then.
    /// @throws WriteError
    void publishWhole(const std::string& target);

    /// Removes the staging folders that killed runs left in a folder: those that no process holds.
    static void removeLeftovers(const std::string& parent);

  private:
    void make(const std::string& parent);
    void makeNoted(std::string pattern, const std::string& parent);

    std::string mPath{};
    int mLock = -1; ///< held while this object lives
    int mNote = -1; ///< for the end by a signal
};

/// Renaming onto a device would replace the device. @throws FileError  the path exists and is not a regular file
void requireRegular(const std::string& path);

} // namespace radvex::files
