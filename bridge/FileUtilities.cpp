#include "bridge/FileUtilities.h"

#include "bridge/ErrorManager.h"

namespace GTU {

namespace {

std::string openModeText(std::ios_base::openmode mode) {
    using std::ios_base;
    struct Form {
        ios_base::openmode mode;
        const char* text;
    };
    static const Form forms[] = {
        {ios_base::in, "r"},
        {ios_base::out, "w"},
        {ios_base::out | ios_base::trunc, "w"},
        {ios_base::app, "a"},
        {ios_base::app | ios_base::out, "a"},
        {ios_base::in | ios_base::out, "r+"},
        {ios_base::in | ios_base::out | ios_base::trunc, "w+"},
        {ios_base::in | ios_base::app, "a+"},
        {ios_base::in | ios_base::app | ios_base::out, "a+"},
    };
    for (const Form& form : forms) {
        if (form.mode == (mode & ~ios_base::binary)) {
            return std::string(form.text) + ((mode & ios_base::binary) != 0 ? "b" : "");
        }
    }
    ErrorManager::throwException(ErrorName::InvalidOpenMode);
}

} // namespace

FilePtr claimFile(std::FILE* file) { return FilePtr(file); }

FilePtr openFile(const std::string& path, std::ios_base::openmode mode, const SharePolicy& /*policy*/) {
    validatePath(path, mode);
    FilePtr file = claimFile(std::fopen(path.c_str(), openModeText(mode).c_str()));
    if (file == nullptr) {
        ErrorManager::throwException(ErrorName::OpenFileFailed, path);
    }
    return file;
}

std::fstream openFileStream(const std::string& path, std::ios_base::openmode mode, const SharePolicy& /*policy*/) {
    validatePath(path, mode);
    std::fstream stream(path, mode);
    if (!stream) {
        ErrorManager::throwException(ErrorName::OpenFileFailed, path);
    }
    return stream;
}

} // namespace GTU
