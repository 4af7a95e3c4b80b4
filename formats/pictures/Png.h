#pragma once

#include <string>

#include "formats/pictures/Picture.h"

namespace radvex::formats {

/// Writes a picture as PNG: grey of 1, 8 or 16 bits, or RGB of 8 or 16 bits.
/// @throws FileError
void writePng(const std::string& path, const Picture& picture);

/// The bytes of that file. @throws FileError
std::string pngOf(const Picture& picture);

} // namespace radvex::formats
