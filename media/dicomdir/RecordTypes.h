#pragma once

#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdirrec.h"

namespace radvex::media {

/// Type of the directory record that lists an instance.
/// @param hasImage  its dataset has rows of pixels: then a class that nobody knows (a maker's own) is an image
/// @return nothing for a class that no record lists
std::optional<E_DirRecType> recordTypeOf(const std::string& sopClassUid, bool hasImage);

/// Hanging protocols, palettes and implant templates belong to no patient: their records stand at the root.
bool standsAtTheRoot(E_DirRecType type);

} // namespace radvex::media
