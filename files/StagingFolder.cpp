#include "files/StagingFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <utility>

#include "files/EndSignals.h"

namespace radvex::files {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".radvex-";

enum class Hold { Ours, Others, Impossible };

/// Locks a folder. @param descriptor  receives the descriptor that holds the lock, -1 if there is none
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

/// Renames without replacing, as well as the file system can. @return false with the reason in errno
bool renameToFreeName(const std::string& staged, const std::string& target) {
    if (renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) { // some network file systems; a hard link replaces nothing either
        return false;
    }
    if (link(staged.c_str(), target.c_str()) == 0) {
        unlink(staged.c_str());
        return true;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) { // no hard links either
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
    const fs::path parent = fs::temp_directory_path(error);
    try {
        if (error) {
            throw WriteError(parent.string(), error.value());
        }
        make(parent.string());
    } catch (const WriteError& failure) {
        throw FileError("No temporary folder can be made: " + std::string(std::strerror(failure.reason())) +
                        ". TMPDIR can name another folder for it.");
    }
}

StagingFolder::StagingFolder(const std::string& parent) { make(parent); }

void StagingFolder::make(const std::string& parent) {
    static std::set<std::string> swept; // once for each folder: looking through one takes time
    if (swept.insert(parent).second) {
        removeLeftovers(parent);
    }
    // Until it is locked, another process may take the folder for a leftover and remove it; then a new one is made.
    // On a file system without locks, only the removal of leftovers is lost.
    for (bool isOurs = false; !isOurs;) {
        makeNoted((fs::path(parent) / (std::string(kPrefix) + "XXXXXX")).string(), parent);
        const Hold hold = lock(mPath, mLock);
        std::error_code error;
        isOurs = hold == Hold::Impossible || (hold == Hold::Ours && fs::exists(mPath, error));
        if (!isOurs) {
            leaveToOwner();
            forgetFolder(std::exchange(mNote, -1));
        }
    }
}

/// No signal comes between the folder and its note.
void StagingFolder::makeNoted(std::string pattern, const std::string& parent) {
    sigset_t all;
    sigset_t former;
    (void)sigfillset(&all);
    (void)sigprocmask(SIG_SETMASK, &all, &former);
    const bool isMade = mkdtemp(pattern.data()) != nullptr;
    const int reason = errno;
    if (isMade) {
        mNote = noteFolder(pattern);
    }
    (void)sigprocmask(SIG_SETMASK, &former, nullptr);
    if (!isMade) {
        throw WriteError(parent, reason);
    }
    mPath = std::move(pattern);
}

StagingFolder::~StagingFolder() {
    if (!mPath.empty()) {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    }
    forgetFolder(mNote);
    leaveToOwner();
}

void StagingFolder::leaveToOwner() {
    if (mLock >= 0) {
        close(std::exchange(mLock, -1));
    }
}

void StagingFolder::publish(const std::string& staged, const std::string& target, bool mayReplace) {
    if (mayReplace) {
        requireRegular(target);
    }
    const bool isNamed =
        mayReplace ? std::rename(staged.c_str(), target.c_str()) == 0 : renameToFreeName(staged, target);
    if (!isNamed) {
        throw WriteError(target, errno);
    }
}

void StagingFolder::publishWhole(const std::string& target) {
    const mode_t mask = umask(0);
    (void)umask(mask);
    if (chmod(mPath.c_str(), 0777 & ~mask) != 0 || std::rename(mPath.c_str(), target.c_str()) != 0) {
        throw WriteError(target, errno);
    }
    mPath.clear();
    forgetFolder(std::exchange(mNote, -1));
}

void StagingFolder::removeLeftovers(const std::string& parent) {
    std::error_code error;
    for (fs::directory_iterator entry(parent, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        int descriptor = -1;
        if (isStagingFolder(*entry) && lock(entry->path().string(), descriptor) == Hold::Ours) {
            std::error_code ignored;
            fs::remove_all(entry->path(), ignored);
            close(descriptor);
        }
    }
}

void requireRegular(const std::string& path) {
    std::error_code ignored;
    const auto status = fs::status(path, ignored);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw FileError(path + " cannot be written: it exists and is not a regular file.");
    }
}

} // namespace radvex::files
