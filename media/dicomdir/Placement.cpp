#include "media/dicomdir/Placement.h"

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

[[noreturn]] void failBecauseOfDicomdir(const fs::path& place) {
    throw std::runtime_error("There is a DICOMDIR in " + place.string() +
                             " already, and it stays. Remove it, or name another folder.");
}

} // namespace

Placement::Placement(const std::string& place) : mPlace(place) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(mPlace / "DICOMDIR", error))) {
        failBecauseOfDicomdir(mPlace);
    }
    if (mkdir(mPlace.c_str(), 0777) == 0) {
        mIsPlaceMade = true;
    } else if (errno != EEXIST) {
        fail(errno);
    }
    try {
        mStaging.emplace(mPlace.string());
    } catch (const files::WriteError& failure) {
        if (mIsPlaceMade) {
            rmdir(mPlace.c_str());
        }
        fail(failure.reason());
    }
}

Placement::~Placement() {
    mStaging.reset(); // first, since a folder that holds it cannot be removed
    if (mIsPublished) {
        return;
    }
    for (const fs::path& link : mLinks) {
        unlink(link.c_str());
    }
    if (mIsPlaceMade) {
        rmdir(mPlace.c_str());
    }
}

std::string Placement::fileIdFor(const std::string& target) {
    for (; mNext < kMostFiles; ++mNext) {
        char fileId[16];
        std::snprintf(fileId, sizeof fileId, "I%07u", mNext);
        const fs::path path = mPlace / fileId;
        std::error_code error;
        const fs::file_status status = fs::symlink_status(path, error);
        if (status.type() == fs::file_type::not_found ||
            (status.type() == fs::file_type::symlink && fs::read_symlink(path, error) == target)) {
            return fileId;
        }
    }
    throw std::runtime_error("More files than a folder of links can take (ten million).");
}

void Placement::link(const std::string& fileId, const std::string& target) {
    const fs::path path = mPlace / fileId;
    if (symlink(target.c_str(), path.c_str()) == 0) {
        mLinks.push_back(path);
    } else if (std::error_code error; errno != EEXIST || fs::read_symlink(path, error) != target) {
        fail(errno);
    }
    ++mNext;
}

std::string Placement::publish() {
    const fs::path path = mPlace / "DICOMDIR";
    try {
        files::StagingFolder::publish(draft(), path.string(), false);
    } catch (const files::WriteError& failure) {
        if (failure.reason() == EEXIST) {
            failBecauseOfDicomdir(mPlace);
        }
        fail(failure.reason());
    }
    mIsPublished = true;
    return path.string();
}

void Placement::fail(int reason) const {
    throw std::runtime_error("A DICOMDIR cannot be written into " + mPlace.string() + ": " +
                             std::generic_category().message(reason) + ".");
}

} // namespace radvex::media
