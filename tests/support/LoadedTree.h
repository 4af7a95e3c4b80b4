#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

namespace radvex::test {

/// Loads a file in the way that the library does.
inline OFCondition loadAsTheLibrary(DcmFileFormat& file, const std::string& path) {
    return file.loadFile(path.c_str(), EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect);
}

/// Levels of sequences below an object, without recursion. What DCMTK has read before an error counts too.
inline std::size_t levelsOf(DcmObject& root) {
    std::size_t deepest = 0;
    std::vector<std::pair<DcmObject*, std::size_t>> open{{&root, 0}};
    while (!open.empty()) {
        const auto [object, level] = open.back();
        open.pop_back();
        const auto* pixels = dynamic_cast<DcmPixelData*>(object);
        const bool isPixelSequence = pixels != nullptr && object->getLengthField() == DCM_UndefinedLength;
        const bool isSequence = object->ident() == EVR_SQ || isPixelSequence;
        deepest = std::max(deepest, level + (isSequence ? 1 : 0));
        if (object->isLeaf()) {
            continue;
        }
        for (DcmObject* part = object->nextInContainer(nullptr); part != nullptr;
             part = object->nextInContainer(part)) {
            open.emplace_back(part, level + (isSequence ? 1 : 0));
        }
    }
    return deepest;
}

/// Levels of a whole file: meta information and dataset.
inline std::size_t levelsOf(DcmFileFormat& file) {
    return std::max(levelsOf(*file.getMetaInfo()), levelsOf(*file.getDataset()));
}

/// Levels of the tree of records that DCMTK makes of a directory, without recursion.
inline std::size_t levelsOfTree(DcmDicomDir& directory) {
    std::size_t deepest = 0;
    std::vector<std::pair<DcmDirectoryRecord*, std::size_t>> open{{&directory.getRootRecord(), 0}};
    while (!open.empty()) {
        const auto [record, level] = open.back();
        open.pop_back();
        deepest = std::max(deepest, level);
        for (DcmDirectoryRecord* sub = record->nextSub(nullptr); sub != nullptr; sub = record->nextSub(sub)) {
            open.emplace_back(sub, level + 1);
        }
    }
    return deepest;
}

} // namespace radvex::test
