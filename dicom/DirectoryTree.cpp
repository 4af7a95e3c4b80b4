#include "DirectoryTree.h"

#include "FileName.h"

namespace radvex {

namespace {

OFFilename checkedFileNameOf(const std::string& path) {
    requireSafeToParse(path); // the file may be another one than the one that the reader loaded
    return fileNameOf(path);
}

} // namespace

DirectoryTree::DirectoryTree(const std::string& path) : directory(checkedFileNameOf(path)) {}

std::string getItemIDTag(DcmItem* item, const DcmTagKey& first, const DcmTagKey& second) {
    const std::string text = getItemStringArr(item, first);
    return text.empty() ? getItemStringArr(item, second) : text;
}

} // namespace radvex
