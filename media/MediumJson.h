#pragma once

#include <vector>

#include "formats/json/LosslessJson.h"
#include "media/FolderListing.h"

namespace radvex::media {

/// {"patients": [...], "leftOut": {...}}, with the paths of all files; texts that are missing are null.
formats::Json describeTree(const std::vector<MediumPatient>& patients, const LeftOut& leftOut);

} // namespace radvex::media
