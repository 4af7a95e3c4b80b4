#include "dicom/readers/DirectoryTree.h"

#include "bridge/ErrorManager.h"
#include "guard/GuardedLoad.h"

namespace radvex {

DirectoryTree::DirectoryTree(const std::string& path) : directory(path) {}

// DCMTK would load the file itself, past the guard: it is given a path that is never there, and then the content.
DirectoryTree::Directory::Directory(const std::string& path) : DcmDicomDir(OFFilename("/dev/null/none")) {
    if (const auto failure = loadGuardedWhole(getDirFileFormat(), path)) {
        if (failure->isRefused) { // the file may be another one than the one that the reader loaded
            GTU::ErrorManager::throwException("OpenFileError", path, failure->reason);
        }
        (void)getDirFileFormat().clear();
        return;
    }
    (void)createNewElements(nullptr);
    (void)convertLinearToTree(); // the walk takes whatever tree this makes
}

std::string getItemIDTag(DcmItem* item, const DcmTagKey& first, const DcmTagKey& second) {
    const std::string text = getItemStringArr(item, first);
    return text.empty() ? getItemStringArr(item, second) : text;
}

} // namespace radvex
