#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/Value.h"

namespace radvex::formats {

/// A picture as PNG stores it: rows from the top, interleaved channels, samples of `bits` bits.
struct Picture {
    int rows = 0;
    int columns = 0;
    int channels = 1; ///< 1 grey, 3 RGB
    int bits = 8;     ///< 1, 8 or 16
    std::vector<std::uint16_t> samples{};

    std::size_t indexOf(int row, int column, int channel) const {
        return (static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(column)) *
                   static_cast<std::size_t>(channels) +
               static_cast<std::size_t>(channel);
    }
};

/// The slices of a host image as pictures. Planes become interleaved; reals from 0 to 1 become 16-bit samples.
std::vector<Picture> picturesOf(const velmora::Image& image);

/// Arranges pictures of the same size in one picture, row by row, about as many across as down.
Picture contactSheet(const std::vector<Picture>& pictures);

/// Sizes as a file states them, not yet checked.
struct PictureSize {
    std::uint64_t slices = 0; ///< 0: a 2D image
    std::uint64_t rows = 0;
    std::uint64_t columns = 0;
    std::uint64_t channels = 1; ///< 1 grey, 3 RGB
};

/// A zero-filled image with interleaved channels, for the content of the file `name`.
/// @throws FileError  no pixels, over 65535 rows or columns, channels other than 1 or 3, more values than an image can
///                    have
velmora::Image newPicture(const std::string& name, const PictureSize& size, vint type);

/// "2 x 5 u8 grey", "3 frames of 2 x 5 u8 RGB": rows, columns.
std::string describePicture(const velmora::Image& image);

} // namespace radvex::formats
