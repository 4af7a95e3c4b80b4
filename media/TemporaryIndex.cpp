#include "media/TemporaryIndex.h"

#include "files/Errors.h"

namespace radvex::media {

TemporaryIndex::TemporaryIndex(const std::string& folder, std::size_t jobs, const workers::Progress& progress)
    : mPath(folder), mIndex(indexFolder(folder, mStaging.path(), false, jobs, progress)) {
    if (mIndex.files.empty()) {
        throw FileError(folder + " holds no DICOM file that can be indexed.");
    }
    for (const IndexedFile& file : mIndex.files) {
        mPathByFileId.emplace(file.fileId, file.path);
    }
}

std::string TemporaryIndex::userPath(const std::string& libraryPath) const {
    const bool isOurs = libraryPath.starts_with(mStaging.path() + '/');
    const std::string mapped = isOurs ? userPathOf(libraryPath.substr(mStaging.path().size() + 1)) : "";
    return mapped.empty() ? libraryPath : mapped;
}

std::string TemporaryIndex::userPathOf(const std::string& name) const {
    if (name == "DICOMDIR") {
        return mPath;
    }
    const auto link = mPathByFileId.find(name);
    return link == mPathByFileId.end() ? "" : link->second;
}

std::string TemporaryIndex::userText(std::string message) const {
    constexpr std::size_t kNameLength = 8; // of the links, and of "DICOMDIR"
    const std::string& folder = mStaging.path();
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
