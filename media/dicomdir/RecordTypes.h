#pragma once

#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdirrec.h"

namespace radvex::media {

/// Type of the directory record that lists an instance.
/// @param hasImage  its dataset has Rows; then an unknown class (a private one) counts as an image
/// @return nothing for a class that directories do not list
std::optional<E_DirRecType> recordTypeOf(const std::string& sopClassUid, bool hasImage);

/// Hanging protocols, palettes and implant templates belong to no patient: their records are children of the root.
bool belongsToRoot(E_DirRecType type);

} // namespace radvex::media
