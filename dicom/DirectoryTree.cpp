#include "DirectoryTree.h"

#include "FileName.h"

namespace radvex {

DirectoryTree::DirectoryTree(const std::string& path) : directory(fileNameOf(path)) {}

std::string getItemIDTag(DcmItem* item, const DcmTagKey& first, const DcmTagKey& second) {
    const std::string text = getItemStringArr(item, first);
    return text.empty() ? getItemStringArr(item, second) : text;
}

} // namespace radvex
