#pragma once

#include <string>
#include <vector>

#include "media/ElementList.h"

namespace radvex::media {

/// See ListElementsEntry.
std::vector<Element> readElements(const std::string& path, const ElementRequest& request);

/// DCMTK's name of a tag without the mark of a retired one; empty for its name of an unknown tag.
std::string plainKeyword(const std::string& dcmtkName);

} // namespace radvex::media
