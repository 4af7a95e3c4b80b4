#include "media/Medium.h"

#include <filesystem>

#include "files/Errors.h"
#include "media/FileDiagnosis.h"
#include "media/FolderIndex.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

bool isNamedAsDicomdir(const std::string& path) { return path.ends_with("DICOMDIR") || path.ends_with("dicomdir"); }

/// Path of the DICOMDIR in a folder; empty if there is none.
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

Medium::Medium(const std::string& path, std::size_t jobs, const workers::Progress& progress) : mPath(path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::directory) {
        mDicomdir = dicomdirIn(path);
        if (mDicomdir.empty()) {
            makeIndex(jobs, progress);
        }
    } else if (isNamedAsDicomdir(path)) {
        mDicomdir = path; // if anything is wrong with it, the library says so
    } else if (status.type() == fs::file_type::not_found || status.type() == fs::file_type::none) {
        throw FileError(path + ' ' + whatIsWrong(path) + '.');
    } else {
        throw UsageError(
            path + " is not read as a DICOMDIR, because its name does not end in DICOMDIR. Give the folder of the "
                   "files, or rename it to DICOMDIR.");
    }
}

void Medium::makeIndex(std::size_t jobs, const workers::Progress& progress) {
    mIndexed = std::make_unique<files::StagingFolder>();
    mIndex = indexFolder(mPath, mIndexed->path(), jobs, progress);
    if (mIndex.files.empty()) {
        throw FileError(whyEmpty(mPath, mIndex));
    }
    mDicomdir = mIndex.dicomdir;
    for (const IndexedFile& file : mIndex.files) {
        mPathByFileId.emplace(file.fileId, file.path);
    }
}

std::string Medium::userPath(const std::string& libraryPath) const {
    const bool isOurs = isIndexed() && libraryPath.starts_with(mIndexed->path() + '/');
    const std::string mapped = isOurs ? userPathOf(libraryPath.substr(mIndexed->path().size() + 1)) : "";
    return mapped.empty() ? libraryPath : mapped;
}

std::string Medium::userPathOf(const std::string& name) const {
    if (name == "DICOMDIR") {
        return mPath;
    }
    const auto link = mPathByFileId.find(name);
    return link == mPathByFileId.end() ? "" : link->second;
}

std::string Medium::userText(std::string message) const {
    if (!isIndexed()) {
        return message;
    }
    constexpr std::size_t kNameLength = 8; // of the links, and of "DICOMDIR"
    const std::string& folder = mIndexed->path();
    for (std::size_t at = message.find(folder); at != std::string::npos; at = message.find(folder, at)) {
        const std::size_t end = at + folder.size();
        const bool hasName = end < message.size() && message[end] == '/';
        const std::string mapped = hasName ? userPathOf(message.substr(end + 1, kNameLength)) : "";
        const std::string& shown = mapped.empty() ? mPath : mapped;
        message.replace(at, folder.size() + (mapped.empty() ? 0 : 1 + kNameLength), shown);
        at += shown.size();
    }
    return message;
}

} // namespace radvex::media
