#pragma once

#include <cstdint>
#include <vector>

#include "host/Value.h"

namespace radvex::formats {

/// One picture as PNG holds it: rows from the top, the channels of a pixel side by side, samples of `bits` bits.
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

/// All pictures of one size in one, row by row, about as many across as down.
Picture contactSheet(const std::vector<Picture>& pictures);

} // namespace radvex::formats
