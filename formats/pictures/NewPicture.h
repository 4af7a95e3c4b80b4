#pragma once

#include <cstdint>
#include <string>

#include "host/Value.h"

namespace radvex::formats {

/// Sizes as a file gives them, before anything believes them.
struct PictureSize {
    std::uint64_t slices = 0; ///< 0: a 2D image
    std::uint64_t rows = 0;
    std::uint64_t columns = 0;
    std::uint64_t channels = 1; ///< 1 grey, 3 RGB
};

/// A zero-filled image for what the file `name` holds; channels lie interleaved.
/// @throws FileError  no pixels, over 65535 rows or columns, channels other than 1 or 3, more values than an image
/// takes
velmora::Image newPicture(const std::string& name, const PictureSize& size, vint type);

/// "2 x 5 u8 grey", "3 frames of 2 x 5 u8 RGB": rows, columns.
std::string describePicture(const velmora::Image& image);

} // namespace radvex::formats
