#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "files/OutputFile.h"
#include "formats/pictures/Picture.h"
#include "host/Value.h"

namespace radvex::formats {

// PNG is read and written with libpng itself, because its errors, limits and sample formats have to be controlled.

/// Writes a picture as PNG: grey of 1, 8 or 16 bits, or RGB of 8 or 16 bits.
/// @throws FileError
void writePng(const files::Output& output, const Picture& picture);

/// The bytes of that file. @throws FileError
std::string pngOf(const Picture& picture);

/// Whether these bytes start like a PNG file.
bool isPng(std::span<const std::byte> bytes);

/// The picture of a PNG file, interlaced or not, as a 2D image. Grey of 1 bit becomes a bit image (0 black, 1 white), 8
/// and 16 bits stay as they are, 2 and 4 bits are scaled to 8, palettes become RGB of 8 bits. An alpha channel is
/// dropped if every pixel is opaque.
/// @param name  the file, for error messages
/// @throws FileError  damaged or cut off, transparent pixels, and whatever newPicture refuses
velmora::Image readPng(const std::string& name, std::span<const std::byte> bytes);

} // namespace radvex::formats
