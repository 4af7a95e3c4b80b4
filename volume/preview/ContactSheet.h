#pragma once

#include <span>
#include <string>
#include <string_view>
#include <tuple>

#include "formats/pictures/Picture.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// Where the edges of a picture point to in the patient: letters of PS3.3 C.7.6.1.1.1 (R, L, A, P, H, F), the main one
/// first; empty where unknown.
struct EdgeLetters {
    std::string left{};
    std::string right{};
    std::string top{};
    std::string bottom{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.left, self.right, self.top, self.bottom);
    }
};

EdgeLetters edgeLettersOf(const Orientation& orientation);
/// @param patientOrientation  value of PatientOrientation, which images without an orientation in space may have: where
///                            rows point to, where columns point to. A value with other letters gives none
EdgeLetters edgeLettersOf(std::string_view patientOrientation);

/// A small picture of one slice.
struct SheetTile {
    int rows = 0;
    int columns = 0;
    std::string rgb{}; ///< bytes, row by row
    EdgeLetters letters{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.rows, self.columns, self.rgb, self.letters);
    }
};

/// The side of a tile in pixels. A picture becomes so large that its longer side fills the tile.
inline constexpr int kTileSide = 192;
/// The most tiles of a sheet, which then has 3840 x 3840 pixels.
inline constexpr std::size_t kMostTiles = 400;

/// A picture as a tile; each of its pixels is the mean of what it covers. Pixels need not be square.
SheetTile tileOf(const formats::Picture& picture, const SliceRecord& slice);

/// Arranges tiles row by row, about as many across as down. Each has its number in the left upper corner and the
/// letters at its edges.
/// @param tiles   at least one, at most kMostTiles
/// @param number  of the first tile; the others follow
formats::Picture sheetOf(std::span<const SheetTile> tiles, std::size_t number);

} // namespace radvex::volume
