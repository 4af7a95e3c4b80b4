#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bridge/VArgumentManager.h"

namespace radvex {

/// How a new file is saved.
struct ImageWriteOptions {
    std::optional<std::string> compression{}; ///< a compression name, looked up when the file is saved; none: raw
    int firstParameter = 0;                   ///< what the parameters mean depends on the name, see DcmWriter::saveFile
    int secondParameter = 0;
};

/// What an overlay plane says about itself beside its pixels (PS3.3 C.9.2).
struct OverlayOptions {
    short originRow = 1; ///< row of the image, from 1, under the plane's first pixel
    short originColumn = 1;
    unsigned short imageFrameOrigin = 1; ///< frame of the image, from 1, that the plane's first frame belongs to
    std::string type = "G";              ///< "G" graphics, "R" region of interest
    std::optional<std::string> description{};
    std::optional<std::string> subtype{};
    std::optional<std::string> label{};
};

/// Reads a list of lists of texts: the outer names are numbers of overlays, from 1, the inner names are properties. A
/// property of another name is skipped; an overlay that is not named keeps the defaults.
/// @param count  number of overlays, and of the records in the result
/// @throws GantryError            CreateFromNullError; OverlayPropertyError (property); those of DataNode
/// @throws std::invalid_argument  text that is no number
/// @throws std::out_of_range      a number of an overlay that there is not, null text, a number beyond all types
std::vector<OverlayOptions> getOverlayOptionsVector(const GTU::VArgumentManager& manager, unsigned int index,
                                                    unsigned int count);

/// A decimal number as `T`: `short`, or `unsigned short`.
/// @throws GantryError            OverlayPropertyError (property) when `T` does not hold it
/// @throws std::invalid_argument, std::out_of_range  text that is no number, or one beyond 64 bits
template <typename T>
T overlayPropertyFromString(const std::string& value, const std::string& property);
template <>
short overlayPropertyFromString<short>(const std::string& value, const std::string& property);
template <>
unsigned short overlayPropertyFromString<unsigned short>(const std::string& value, const std::string& property);

} // namespace radvex
