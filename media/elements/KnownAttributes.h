#pragma once

#include <vector>

#include "media/ElementList.h"

namespace radvex::media {

/// DCMTK's dictionary without private attributes, in the order of the numbers; see KnownAttribute.
std::vector<KnownAttribute> listKnownAttributes();

} // namespace radvex::media
