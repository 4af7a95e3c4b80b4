#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "media/ElementList.h"

namespace radvex::media {

/// Whether a decoder may change the attribute, so that the library decodes the pixels before it gives the value.
bool isChangedByDecoding(std::string_view keyword);

/// The attributes of a dataset as they stand in the file, for whoever has no use for the pixels: decoding them takes a
/// hundred times as long as everything else.
/// @throws FileError  a sentence that does not name the file
std::vector<Element> storedAttributes(const std::string& path, const std::vector<std::string>& keywords);

} // namespace radvex::media
