#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bridge/VArgumentManager.h"

namespace radvex {

/// How a new file is saved.
struct ImageWriteOptions {
    std::optional<std::string> compression{}; ///< a name, which is looked up when the file is saved; none: uncompressed
    int firstParameter = 0;                   ///< the name decides what the parameters mean, see DcmWriter::saveFile
    int secondParameter = 0;
};

/// The attributes of an overlay plane that its pixels do not tell (PS3.3 C.9.2).
struct OverlayOptions {
    short originRow = 1; ///< number of the image's row, from 1, under the first pixel of the plane
    short originColumn = 1;
    unsigned short imageFrameOrigin = 1; ///< number of the image's frame, from 1, under the first frame of the plane
    std::string type = "G";              ///< "G" graphics, "R" region of interest
    std::optional<std::string> description{};
    std::optional<std::string> subtype{};
    std::optional<std::string> label{};
};

/// Reads a list of lists of texts. The outer names are numbers of overlays, from 1; the inner names are properties.
/// Unknown properties are skipped; overlays that are not in the list keep the defaults.
/// @param count  how many overlays there are, which is the size of the result
/// @throws GantryError            CreateFromNullError; OverlayPropertyError (property); those of DataNode
/// @throws std::invalid_argument  a text is not a number
/// @throws std::out_of_range      no overlay has the number, a text is null, a number does not fit into 64 bits
std::vector<OverlayOptions> getOverlayOptionsVector(const GTU::VArgumentManager& manager, unsigned int index,
                                                    unsigned int count);

/// Reads a decimal number as `T`, which is `short` or `unsigned short`.
/// @throws GantryError            OverlayPropertyError (property) when `T` does not hold it
/// @throws std::invalid_argument, std::out_of_range  the text is not a number, or one beyond 64 bits
template <typename T>
T overlayPropertyFromString(const std::string& value, const std::string& property);

} // namespace radvex
