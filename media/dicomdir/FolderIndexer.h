#pragma once

#include <memory>
#include <string>

#include "media/FolderReading.h"

namespace radvex::media {

/// See StartListingEntry and StartIndexingEntry.
std::unique_ptr<FolderReading> startListing(const std::string& folder);
std::unique_ptr<FolderIndexing> startIndexing(const std::string& folder, IndexTarget& target);

} // namespace radvex::media
