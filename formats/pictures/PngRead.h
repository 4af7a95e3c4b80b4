#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "host/Value.h"

namespace radvex::formats {

/// Whether these bytes start as a PNG does.
bool isPng(std::span<const std::byte> bytes);

/// The picture of a PNG file as a 2D image: 1-bit grey becomes a bit image (0 black, 1 white), 8 and 16 bits stay as
/// they are, 2 and 4 bits are spread over 8, palettes become RGB of 8 bits. An alpha channel is left out where every
/// pixel is opaque. Interlaced files too.
/// @param name  the file, for the sentence of an error
/// @throws FileError  damaged or cut off, transparent pixels, and what newPicture refuses
velmora::Image readPng(const std::string& name, std::span<const std::byte> bytes);

} // namespace radvex::formats
