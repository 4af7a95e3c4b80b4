#pragma once

#include <memory>
#include <string>

#include "media/FolderIndex.h"

namespace radvex::media {

/// @param folder  must not be `place` or hold it unless its files may be joined by the links
/// @throws std::runtime_error  a sentence: the folder cannot be read, there is a DICOMDIR in `place` already, or it
///                             cannot be written there
std::unique_ptr<FolderIndexing> startIndexing(const std::string& folder, const std::string& place);

} // namespace radvex::media
