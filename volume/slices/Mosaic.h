#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Value.h"
#include "volume/samples/VolumeBuffer.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

// Siemens scanners write the slices of a volume as tiles of one picture. How many they are and in which direction they
// follow each other stands in private attributes alone.

/// A field of the CSA header, a list of names with values that is the value of a private attribute.
struct CsaField {
    std::string name{};
    std::vector<std::string> values{}; ///< as text, without padding
};

/// Reads a CSA header in the older format or the newer one, which starts with "SV10". Nothing if it is cut or
/// malformed.
std::optional<std::vector<CsaField>> parseCsaHeader(std::string_view bytes);

/// What the private attributes of a mosaic say.
struct MosaicAttributes {
    std::vector<velmora::Value> counts{};     ///< values of NumberOfImagesInMosaic (0019,xx0A)
    std::vector<velmora::Value> csaHeaders{}; ///< values of the CSA image header (0029,xx10)
};

/// How a picture is divided into the slices of a volume, row by row.
struct Tiling {
    vint count = 1;        ///< slices, which leave the last tiles empty
    vint tilesPerSide = 1; ///< in both directions
};

/// A tiling, or what stands in its way.
struct TilingVerdict {
    Tiling tiling{};
    std::string problem{}; ///< end of a sentence; empty if there is a tiling
};

/// The tiling, if the attributes give the number of the tiles, their order and their places without a contradiction.
/// @param picture  the whole mosaic, as if it were one slice
TilingVerdict tilingOf(const SliceRecord& picture, const MosaicAttributes& attributes);

/// The slices in the tiles. Scanners place the corner of the mosaic as if all of it were the first slice, with the same
/// centre. Each mosaic is a point in time, which its AcquisitionTime tells better than its AcquisitionNumber.
/// @param picture  with a position, distances and the size that the tiling was made for
std::vector<SliceRecord> tilesOf(const SliceRecord& picture, const Tiling& tiling);

/// Brings the samples of one picture into the order of its tiles, and drops the empty ones.
void unpackTiles(StoredSlices& samples, vint rows, vint columns, const Tiling& tiling);

} // namespace radvex::volume
