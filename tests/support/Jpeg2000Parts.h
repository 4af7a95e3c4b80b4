#pragma once

// Codestreams of JPEG 2000 as bytes, part by part, right and wrong.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/Jpeg2000Streams.h"

namespace radvex::test {

std::string bigEndian(std::uint32_t number, int bytes);

/// A marker segment; `kind` is the second byte of its marker.
std::string jpeg2000Segment(unsigned kind, const std::string& content);

/// A codestream cut in front of its tile parts and behind the last one: its main header, and each tile part.
struct Jpeg2000Parts {
    std::string header{};
    std::vector<std::string> tileParts{};
    std::string end{};

    std::string joined() const;
};

/// @param stream  whose tile parts say their lengths
Jpeg2000Parts partsOf(const std::string& stream);

/// A codestream whose packets are all empty: the numbers of its header can be any.
struct EmptyJpeg2000 {
    std::uint32_t columns = 16; ///< the right edge
    std::uint32_t rows = 16;    ///< the lower edge
    std::uint32_t left = 0;
    std::uint32_t top = 0;
    std::uint32_t tileColumns = 0; ///< 0 for the right edge
    std::uint32_t tileRows = 0;
    std::uint32_t tileLeft = 0;
    std::uint32_t tileTop = 0;
    std::vector<std::array<int, 3>> components{{7, 1, 1}}; ///< kind and steps
    unsigned layers = 1;
    Jpeg2000Progression progression = Jpeg2000Progression::layers;
    unsigned levels = 0;
    std::vector<unsigned> precincts{}; ///< log2 of height and width in four bits each, of the smallest resolution first
    std::string moreHeader{};          ///< segments behind the others of the main header
    std::string tileHeader{};          ///< segments in the header of the first part of each tile
    unsigned style = 0;                ///< of the coding: 2 and 4 for markers between packets
    unsigned blockStyle = 0;           ///< 0x40 for HTJ2K
    std::size_t tiles = 1;
    std::size_t bytesOfTile = 1; ///< empty packets
    std::string moreData{};      ///< behind them

    /// Everything of a COD segment but its length.
    std::string coding() const;
    std::string stream() const;
};

/// Of HTJ2K: 3 rows of 5 columns, 12 bits, whose sample is 800 * row + 160 * column + 7. Made by ojph_compress.
const std::string& htj2kStream();
std::vector<int> htj2kSamples();

} // namespace radvex::test
