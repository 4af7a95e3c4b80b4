#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace radvex::test {

enum class Jpeg2000Progression {
    layers,      ///< LRCP
    resolutions, ///< RLCP
    resolutionsByPosition,
    positions,
    components
};

/// A picture, and how OpenJPEG compresses it.
struct Jpeg2000Source {
    int rows = 1;
    int columns = 1;
    int components = 1;
    int precision = 8; ///< bits of a sample
    bool isSigned = false;
    std::vector<std::int32_t> samples{}; ///< component by component
    bool isReversible = true;
    bool hasTransformation = false; ///< of the colours of three components
    int tileSize = 0;               ///< columns and rows of a tile; 0: one tile
    int resolutions = 3;
    int layers = 1;       ///< the last of which has all bits where it is reversible
    int precinctSize = 0; ///< columns and rows of the precincts of the full resolution; 0: as large as they can be
    int blockSize = 64;
    Jpeg2000Progression progression = Jpeg2000Progression::layers;
    bool hasPartsOfResolutions = false; ///< a tile part for each resolution
    bool isFile = false;                ///< in the boxes of a JP2 file
    bool changesProgression = false;    ///< to that by resolution and position, from the second resolution on
    std::array<int, 2> origin{};        ///< left and upper edge, of the picture and of its tiles
};

/// With slopes, edges and the highest and lowest values; the samples tell where they are.
Jpeg2000Source jpeg2000Picture(int rows, int columns, int components = 1, int precision = 8, bool isSigned = false);

/// @throws std::runtime_error  OpenJPEG does not encode it
std::string jpeg2000Stream(const Jpeg2000Source& source);

/// What OpenJPEG makes of a codestream when nobody looks at it before.
struct DecodedJpeg2000 {
    std::vector<std::int32_t> samples{}; ///< component by component; empty after an error
    std::string complaint{};             ///< the first error or warning
};

DecodedJpeg2000 decodedJpeg2000(const std::string& stream);

} // namespace radvex::test
