#pragma once

#include <string>
#include <vector>

#include "media/FolderIndex.h"

namespace radvex::media {

struct FolderWalk {
    std::string root{};                 ///< the folder, absolute and without links
    std::vector<std::string> files{};   ///< regular files, relative to the folder, sorted byte by byte
    std::size_t specialCount = 0;       ///< pipes, devices, sockets: never opened
    std::vector<RefusedFile> refused{}; ///< folders that cannot be read, and broken links; relative paths
};

/// Finds the files below a folder.
/// @throws std::runtime_error  a sentence: the folder itself cannot be read
FolderWalk walkFolder(const std::string& folder);

} // namespace radvex::media
