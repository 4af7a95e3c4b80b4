#include "media/dicomdir/IndexOutput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kMostFiles = 10'000'000; // seven digits

[[noreturn]] void failBecauseOfDicomdir(const fs::path& folder) {
    throw std::runtime_error("There is a DICOMDIR in " + folder.string() +
                             " already, and it stays. Remove it, or name another folder.");
}

} // namespace

IndexOutput::IndexOutput(const std::string& folder) : mFolder(folder) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(mFolder / "DICOMDIR", error))) {
        failBecauseOfDicomdir(mFolder);
    }
    if (mkdir(mFolder.c_str(), 0777) == 0) {
        mIsFolderNew = true;
    } else if (errno != EEXIST) {
        fail(errno);
    }
    try {
        mStaging.emplace(mFolder.string());
    } catch (const files::WriteError& failure) {
        if (mIsFolderNew) {
            rmdir(mFolder.c_str());
        }
        fail(failure.reason());
    }
}

IndexOutput::~IndexOutput() {
    mStaging.reset(); // first: a folder that contains it cannot be removed
    if (mIsPublished) {
        return;
    }
    for (const fs::path& link : mLinks) {
        unlink(link.c_str());
    }
    if (mIsFolderNew) {
        rmdir(mFolder.c_str());
    }
}

std::string IndexOutput::fileIdFor(const std::string& target) {
    for (; mNextNumber < kMostFiles; ++mNextNumber) {
        char fileId[16];
        std::snprintf(fileId, sizeof fileId, "I%07u", mNextNumber);
        const fs::path path = mFolder / fileId;
        std::error_code error;
        const fs::file_status status = fs::symlink_status(path, error);
        if (status.type() == fs::file_type::not_found ||
            (status.type() == fs::file_type::symlink && fs::read_symlink(path, error) == target)) {
            return fileId;
        }
    }
    throw std::runtime_error("There are more files than an index can have (ten million).");
}

void IndexOutput::link(const std::string& fileId, const std::string& target) {
    const fs::path path = mFolder / fileId;
    if (symlink(target.c_str(), path.c_str()) == 0) {
        mLinks.push_back(path);
    } else if (std::error_code error; errno != EEXIST || fs::read_symlink(path, error) != target) {
        fail(errno);
    }
    ++mNextNumber;
}

std::string IndexOutput::publish() {
    const fs::path path = mFolder / "DICOMDIR";
    try {
        files::StagingFolder::publish(draft(), path.string(), false);
    } catch (const files::WriteError& failure) {
        if (failure.reason() == EEXIST) {
            failBecauseOfDicomdir(mFolder);
        }
        fail(failure.reason());
    }
    mIsPublished = true;
    return path.string();
}

void IndexOutput::fail(int reason) const {
    throw std::runtime_error("A DICOMDIR cannot be written into " + mFolder.string() + ": " +
                             std::generic_category().message(reason) + ".");
}

} // namespace radvex::media
