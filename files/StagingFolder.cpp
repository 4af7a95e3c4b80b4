#include "files/StagingFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

namespace radvex::files {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".radvex-";

enum class Hold { Ours, Others, Impossible };

/// Locks a folder. @param descriptor  gets what holds the lock; below 0 when there is none
Hold lock(const std::string& folder, int& descriptor) {
    descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return errno == ENOENT ? Hold::Others : Hold::Impossible;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        return Hold::Ours;
    }
    const bool isHeld = errno == EWOULDBLOCK;
    close(std::exchange(descriptor, -1));
    return isHeld ? Hold::Others : Hold::Impossible;
}

bool isStagingFolder(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename().string();
    std::error_code ignored;
    return name.starts_with(kPrefix) && name.size() == std::strlen(kPrefix) + 6 && !entry.is_symlink(ignored) &&
           entry.is_directory(ignored);
}

/// Renames as far as the file system can without replacing. @return false with the reason in errno
bool renameToFreeName(const std::string& staged, const std::string& target) {
    if (renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) { // some network file systems; a second name replaces nothing either
        return false;
    }
    if (link(staged.c_str(), target.c_str()) == 0) {
        unlink(staged.c_str());
        return true;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) { // nor are there second names
        return false;
    }
    std::error_code error;
    if (fs::exists(fs::symlink_status(target, error))) {
        errno = EEXIST;
        return false;
    }
    return std::rename(staged.c_str(), target.c_str()) == 0;
}

} // namespace

WriteError::WriteError(const std::string& path, int reason)
    : FileError(path + " cannot be written: " + std::strerror(reason) + "."), mReason(reason) {}

StagingFolder::StagingFolder() {
    std::error_code error;
    const fs::path place = fs::temp_directory_path(error);
    try {
        if (error) {
            throw WriteError(place.string(), error.value());
        }
        make(place.string());
    } catch (const WriteError& failure) {
        throw FileError("No temporary folder can be made: " + std::string(std::strerror(failure.reason())) +
                        ". TMPDIR names another place for it.");
    }
}

StagingFolder::StagingFolder(const std::string& place) { make(place); }

void StagingFolder::make(const std::string& place) {
    // Who looks for leftovers may take a folder for one before it is locked; then there has to be another.
    // A file system without locks costs the tidying up after a killed run, no more.
    for (bool isOurs = false; !isOurs;) {
        std::string pattern = (fs::path(place) / (std::string(kPrefix) + "XXXXXX")).string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw WriteError(place, errno);
        }
        mPath = pattern;
        const Hold hold = lock(mPath, mLock);
        std::error_code error;
        isOurs = hold == Hold::Impossible || (hold == Hold::Ours && fs::exists(mPath, error));
        if (!isOurs) {
            leaveToOwner();
        }
    }
}

StagingFolder::~StagingFolder() {
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
    leaveToOwner();
}

void StagingFolder::leaveToOwner() {
    if (mLock >= 0) {
        close(std::exchange(mLock, -1));
    }
}

void StagingFolder::publish(const std::string& staged, const std::string& target, bool mayReplace) {
    if (mayReplace) {
        requireFile(target);
    }
    const bool isNamed =
        mayReplace ? std::rename(staged.c_str(), target.c_str()) == 0 : renameToFreeName(staged, target);
    if (!isNamed) {
        throw WriteError(target, errno);
    }
}

void StagingFolder::removeLeftovers(const std::string& place) {
    std::error_code error;
    for (fs::directory_iterator entry(place, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        int descriptor = -1;
        if (isStagingFolder(*entry) && lock(entry->path().string(), descriptor) == Hold::Ours) {
            std::error_code ignored;
            fs::remove_all(entry->path(), ignored);
            close(descriptor);
        }
    }
}

void requireFile(const std::string& path) {
    std::error_code ignored;
    const auto status = fs::status(path, ignored);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw FileError(path + " cannot be written: something is there that is no file.");
    }
}

} // namespace radvex::files
