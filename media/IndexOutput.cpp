#include "media/IndexOutput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "files/OutputFile.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kMostFiles = 10'000'000; // seven digits

/// "I0000000": the name of a link that a run of this program made.
bool isFileId(const std::string& name) {
    return name.size() == 8 && name.front() == 'I' && name.find_first_not_of("0123456789", 1) == std::string::npos;
}

} // namespace

IndexFolder::IndexFolder(const std::string& folder, bool mayReplace) : mPath(folder) {
    if (!mPath.has_filename() && mPath.has_parent_path()) { // "out/" has the folder "out" beside its files
        mPath = mPath.parent_path();
    }
    std::error_code error;
    if (!mayReplace && fs::exists(fs::symlink_status(mPath / "DICOMDIR", error))) {
        failBecauseOfDicomdir();
    }
    mIsNew = !fs::exists(fs::symlink_status(mPath, error));
}

std::string IndexFolder::stagingParent() const {
    const fs::path parent = mPath.parent_path();
    return !mIsNew ? mPath.string() : parent.empty() ? "." : parent.string();
}

std::string IndexFolder::fileIdFor(const std::string& target) {
    for (; mNextNumber < kMostFiles; ++mNextNumber) {
        char fileId[16];
        std::snprintf(fileId, sizeof fileId, "I%07u", mNextNumber);
        const fs::path path = mPath / fileId;
        std::error_code error;
        const fs::file_status status = fs::symlink_status(path, error);
        if (status.type() == fs::file_type::not_found ||
            (status.type() == fs::file_type::symlink && fs::read_symlink(path, error) == target)) {
            return fileId;
        }
    }
    throw std::runtime_error("There are more files than an index can have (ten million).");
}

void IndexFolder::fail(int reason) const {
    throw std::runtime_error("A DICOMDIR cannot be written into " + mPath.string() + ": " +
                             std::generic_category().message(reason) + ".");
}

void IndexFolder::failBecauseOfDicomdir() const {
    throw std::runtime_error("There is a DICOMDIR in " + mPath.string() +
                             " already, and it stays. --force replaces it; or name another folder.");
}

IndexOutput::IndexOutput(const std::string& folder, bool mayReplace)
    : mFolder(folder, mayReplace), mMayReplace(mayReplace) {
    try {
        mStaging.emplace(mFolder.stagingParent());
    } catch (const files::WriteError& failure) {
        mFolder.fail(failure.reason());
    }
}

IndexOutput::~IndexOutput() {
    for (const fs::path& link : mPublished) {
        unlink(link.c_str());
    }
}

std::string IndexOutput::fileIdFor(const std::string& target) { return mFolder.fileIdFor(target); }

void IndexOutput::link(const std::string& fileId, const std::string& target) {
    if (symlink(target.c_str(), mStaging->file(fileId).c_str()) != 0) {
        mFolder.fail(errno);
    }
    mFileIds.push_back(fileId);
    mFolder.take();
}

std::string IndexOutput::publish() {
    const fs::path path = mFolder.path() / "DICOMDIR";
    try {
        if (mFolder.isNew()) {
            mStaging->publishWhole(mFolder.path().string());
        } else {
            publishOneByOne();
            files::StagingFolder::publish(draft(), path.string(), mMayReplace);
        }
    } catch (const files::WriteError& failure) {
        if (failure.reason() == EEXIST && !mFolder.isNew()) {
            mFolder.failBecauseOfDicomdir();
        }
        mFolder.fail(failure.reason());
    }
    mPublished.clear();
    return path.string();
}

void IndexOutput::publishOneByOne() {
    for (const std::string& fileId : mFileIds) {
        const fs::path path = mFolder.path() / fileId;
        std::error_code error;
        if (fs::is_symlink(fs::symlink_status(path, error))) {
            continue; // an earlier run made the same link
        }
        if (std::rename(mStaging->file(fileId).c_str(), path.c_str()) != 0) {
            mFolder.fail(errno);
        }
        mPublished.push_back(path);
    }
}

IndexRehearsal::IndexRehearsal(const std::string& folder, bool mayReplace) : mFolder(folder, mayReplace) {
    if (const int reason = files::whyNotWritable(mFolder.stagingParent()); reason != 0) {
        mFolder.fail(reason);
    }
}

void IndexRehearsal::link(const std::string& fileId, const std::string& /*target*/) {
    mFileIds.push_back(fileId);
    mFolder.take();
}

LinkChanges IndexRehearsal::changes() const {
    std::error_code error;
    LinkChanges changes{.replacesDicomdir = fs::exists(mFolder.path() / "DICOMDIR", error)};
    for (const std::string& fileId : mFileIds) {
        if (fs::is_symlink(fs::symlink_status(mFolder.path() / fileId, error))) {
            changes.kept.push_back(fileId);
        }
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(mFolder.path(), error)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_symlink(error) && isFileId(name) && std::ranges::find(mFileIds, name) == mFileIds.end()) {
            changes.dropped.push_back({name, fs::read_symlink(entry.path(), error).string()});
        }
    }
    std::ranges::sort(changes.dropped, {}, &IndexedFile::fileId);
    return changes;
}

} // namespace radvex::media
