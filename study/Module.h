#pragma once

#include "FolderIndex.h"

// The entry of radvexStudy.so. The command loads it when a folder is to be indexed: DCMTK takes longer to load than
// the rest of the command together, and most runs reach it through the library alone or not at all.

namespace radvex::study {

/// indexFolder, with the result in its last argument. Throws what that throws.
using IndexFolderEntry = void (*)(const std::string& folder, const std::string& place, const Progress& progress,
                                  FolderIndex& index);

inline constexpr const char* kIndexFolderEntry = "radvexIndexFolder";
inline constexpr const char* kModuleFile = "radvexStudy.so";

} // namespace radvex::study
