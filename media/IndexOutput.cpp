#include "media/IndexOutput.h"

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
                             " already, and it stays. --force replaces it; or name another folder.");
}

} // namespace

IndexOutput::IndexOutput(const std::string& folder, bool mayReplace) : mFolder(folder), mMayReplace(mayReplace) {
    if (!mFolder.has_filename() && mFolder.has_parent_path()) { // "out/" has the folder "out" beside its files
        mFolder = mFolder.parent_path();
    }
    std::error_code error;
    if (!mMayReplace && fs::exists(fs::symlink_status(mFolder / "DICOMDIR", error))) {
        failBecauseOfDicomdir(mFolder);
    }
    mIsFolderNew = !fs::exists(fs::symlink_status(mFolder, error));
    try {
        const fs::path parent = mFolder.parent_path();
        mStaging.emplace(!mIsFolderNew ? mFolder.string() : parent.empty() ? "." : parent.string());
    } catch (const files::WriteError& failure) {
        fail(failure.reason());
    }
}

IndexOutput::~IndexOutput() {
    for (const fs::path& link : mPublished) {
        unlink(link.c_str());
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
    if (symlink(target.c_str(), mStaging->file(fileId).c_str()) != 0) {
        fail(errno);
    }
    mFileIds.push_back(fileId);
    ++mNextNumber;
}

std::string IndexOutput::publish() {
    const fs::path path = mFolder / "DICOMDIR";
    try {
        if (mIsFolderNew) {
            mStaging->publishWhole(mFolder.string());
        } else {
            publishOneByOne();
            files::StagingFolder::publish(draft(), path.string(), mMayReplace);
        }
    } catch (const files::WriteError& failure) {
        if (failure.reason() == EEXIST && !mIsFolderNew) {
            failBecauseOfDicomdir(mFolder);
        }
        fail(failure.reason());
    }
    mPublished.clear();
    return path.string();
}

void IndexOutput::publishOneByOne() {
    for (const std::string& fileId : mFileIds) {
        const fs::path path = mFolder / fileId;
        std::error_code error;
        if (fs::is_symlink(fs::symlink_status(path, error))) {
            continue; // an earlier run made the same link
        }
        if (std::rename(mStaging->file(fileId).c_str(), path.c_str()) != 0) {
            fail(errno);
        }
        mPublished.push_back(path);
    }
}

void IndexOutput::fail(int reason) const {
    throw std::runtime_error("A DICOMDIR cannot be written into " + mFolder.string() + ": " +
                             std::generic_category().message(reason) + ".");
}

} // namespace radvex::media
