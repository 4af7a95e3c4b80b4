#pragma once

#include <span>
#include <string>

namespace radvex::media {

/// What a file that is not DICOM looks like by its first bytes, with an article: "a PNG picture", "a text". Empty if
/// nothing is known that begins like this.
/// @param start  the first bytes of the file: 512 are enough for all but texts
std::string kindOfFile(std::span<const unsigned char> start);

} // namespace radvex::media
