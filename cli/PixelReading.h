#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "formats/json/LosslessJson.h"
#include "host/Host.h"

namespace radvex::cli {

/// A pixel as the user counts, from 1.
struct PixelPlace {
    std::size_t row = 1;
    std::size_t column = 1;
};

/// Reads ROW,COLUMN. @throws UsageError
PixelPlace parsePixel(const std::string& text);

/// The values of one pixel in several frames.
struct PixelReading {
    PixelPlace place{};
    std::string kind{};                        ///< "modality" or "colour"
    std::string unit{};                        ///< empty if unknown
    std::size_t firstFrame = 0;                ///< from 0
    std::vector<std::vector<double>> values{}; ///< of each frame: one value, or red, green and blue
};

/// Reads the modality values of a pixel; they are not rounded, unlike those of an array of integers. Colour has red,
/// green and blue.
/// @param path    for the library
/// @param file    as the user knows it; another one where the path is that of a copy of what is left of it
/// @param frames  the first one (from 0) and their number
/// @throws UsageError           the file has no such pixel
/// @throws LibraryError, Error  the file cannot be read
PixelReading readPixel(velmora::Host& host, const std::string& path, const std::string& file, const PixelPlace& place,
                       const std::pair<vint, vint>& frames);

/// A line for each frame: "frame 1, row 2, column 3: -1024 HU".
std::string textOf(const PixelReading& reading);
formats::Json jsonOf(const PixelReading& reading);

} // namespace radvex::cli
