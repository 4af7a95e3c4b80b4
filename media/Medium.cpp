#include "media/Medium.h"

#include <filesystem>

#include "files/Errors.h"
#include "media/Indexing.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

bool isNamedAsDicomdir(const std::string& path) { return path.ends_with("DICOMDIR") || path.ends_with("dicomdir"); }

/// Path of the DICOMDIR that a folder holds; empty when it holds none.
std::string dicomdirIn(const std::string& folder) {
    for (const char* name : {"DICOMDIR", "dicomdir"}) {
        const fs::path path = fs::path(folder) / name;
        std::error_code error;
        if (fs::is_regular_file(path, error)) {
            return path.string();
        }
    }
    return "";
}

std::string whyEmpty(const std::string& folder, const FolderIndex& index) {
    std::string sentence = folder + " holds no DICOM file that can be indexed (" + std::to_string(index.skippedCount) +
                           " skipped, " + std::to_string(index.refused.size()) + " refused";
    if (!index.refused.empty()) {
        const RefusedFile& first = index.refused.front();
        sentence += "; " + first.path + ": " + first.reason;
    }
    return sentence + ").";
}

} // namespace

Medium::Medium(const std::string& place, std::size_t jobs, const workers::Progress& progress) : mPlace(place) {
    std::error_code error;
    const fs::file_status status = fs::status(place, error);
    if (status.type() == fs::file_type::directory) {
        mDicomdir = dicomdirIn(place);
        if (mDicomdir.empty()) {
            makeIndex(jobs, progress);
        }
    } else if (isNamedAsDicomdir(place)) {
        mDicomdir = place; // the library says what is wrong with it
    } else if (status.type() == fs::file_type::not_found || status.type() == fs::file_type::none) {
        throw FileError(place + " cannot be read: " + error.message() + ".");
    } else {
        throw UsageError(
            place + " is not read as a DICOMDIR, because its name does not end in DICOMDIR. Give the folder of the "
                    "files, or rename it to DICOMDIR.");
    }
}

void Medium::makeIndex(std::size_t jobs, const workers::Progress& progress) {
    mIndexed = std::make_unique<files::StagingFolder>();
    mIndex = indexFolder(mPlace, mIndexed->path(), jobs, progress);
    if (mIndex.files.empty()) {
        throw FileError(whyEmpty(mPlace, mIndex));
    }
    mDicomdir = mIndex.dicomdir;
    for (const IndexedFile& file : mIndex.files) {
        mPathOfLink.emplace(file.fileId, file.path);
    }
}

std::string Medium::userPath(const std::string& libraryPath) const {
    const bool isOurs = isIndexed() && libraryPath.starts_with(mIndexed->path() + '/');
    const std::string mapped = isOurs ? userPathOf(libraryPath.substr(mIndexed->path().size() + 1)) : "";
    return mapped.empty() ? libraryPath : mapped;
}

std::string Medium::userPathOf(const std::string& name) const {
    if (name == "DICOMDIR") {
        return mPlace;
    }
    const auto link = mPathOfLink.find(name);
    return link == mPathOfLink.end() ? "" : link->second;
}

std::string Medium::userText(std::string message) const {
    if (!isIndexed()) {
        return message;
    }
    constexpr std::size_t kNameLength = 8; // of a link, and of DICOMDIR
    const std::string& place = mIndexed->path();
    for (std::size_t at = message.find(place); at != std::string::npos; at = message.find(place, at)) {
        const std::size_t end = at + place.size();
        const bool hasName = end < message.size() && message[end] == '/';
        const std::string mapped = hasName ? userPathOf(message.substr(end + 1, kNameLength)) : "";
        const std::string& shown = mapped.empty() ? mPlace : mapped;
        message.replace(at, place.size() + (mapped.empty() ? 0 : 1 + kNameLength), shown);
        at += shown.size();
    }
    return message;
}

} // namespace radvex::media
