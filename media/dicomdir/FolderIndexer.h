#pragma once

#include <memory>
#include <string>

#include "media/FolderIndexing.h"

namespace radvex::media {

/// Starts the indexing of a folder; see StartIndexingEntry.
std::unique_ptr<FolderIndexing> startIndexing(const std::string& folder, const std::string& output);

} // namespace radvex::media
