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

#include "files/Errors.h"
#include "files/OutputFile.h"

namespace radvex::files {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = ".radvex-";

/// Locks a folder. @return the descriptor that holds the lock; below 0 when another process has it
int lock(const std::string& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

} // namespace

StagingFolder::StagingFolder(const std::string& place) {
    std::string pattern = (fs::path(place) / (std::string(kPrefix) + "XXXXXX")).string();
    if (mkdtemp(pattern.data()) == nullptr) {
        failToWrite(place, errno);
    }
    mPath = pattern;
    mLock = lock(mPath); // a file system without locks costs the tidying up after a killed run, no more
}

StagingFolder::~StagingFolder() {
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
    if (mLock >= 0) {
        close(mLock);
    }
}

void StagingFolder::leaveToOwner() {
    if (mLock >= 0) {
        close(std::exchange(mLock, -1));
    }
}

void StagingFolder::publish(const std::string& staged, const std::string& target, bool mayReplace) {
    const unsigned flags = mayReplace ? 0 : RENAME_NOREPLACE;
    if (renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, target.c_str(), flags) == 0) {
        return;
    }
    std::error_code error;
    const bool cannotTell = flags != 0 && (errno == EINVAL || errno == ENOSYS); // some network file systems
    if (!cannotTell) {
        failToWrite(target, errno);
    }
    if (fs::exists(fs::symlink_status(target, error))) {
        failToWrite(target, EEXIST);
    }
    if (std::rename(staged.c_str(), target.c_str()) != 0) {
        failToWrite(target, errno);
    }
}

void StagingFolder::removeLeftovers(const std::string& place) {
    std::error_code error;
    for (fs::directory_iterator entry(place, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::error_code ignored;
        if (!isOne(entry->path().filename().string()) || entry->is_symlink(ignored) || !entry->is_directory(ignored)) {
            continue;
        }
        const int descriptor = lock(entry->path().string());
        if (descriptor >= 0) {
            fs::remove_all(entry->path(), ignored);
            close(descriptor);
        }
    }
}

bool StagingFolder::isOne(const std::string& name) {
    return name.starts_with(kPrefix) && name.size() == std::strlen(kPrefix) + 6;
}

} // namespace radvex::files
