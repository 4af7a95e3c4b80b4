#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// A box of a JP2 file (ISO/IEC 15444-1, I.4).
struct Jp2Box {
    std::string_view kind; ///< four letters
    std::span<const Uint8> content;
    std::span<const Uint8> rest; ///< behind it
};

/// The box that the bytes begin with; nothing where they do not hold it whole.
std::optional<Jp2Box> jp2BoxAt(std::span<const Uint8> bytes);

/// Whether the bytes begin as a JP2 file does.
bool isJp2(std::span<const Uint8> bytes);

/// What a JP2 file (ISO/IEC 15444-1, annex I) holds. PS3.5 8.2.4 allows only the codestream; some writers leave the
/// whole file.
struct Jp2Content {
    std::span<const Uint8> codestream;
    /// The components are not the channels of the picture, in their order: there is a palette, or they are mapped.
    bool rearrangesComponents = false;
};

/// @param bytes  of a JP2 file, or of a codestream alone, which is given back as it is
Jp2Content contentOfJp2(std::span<const Uint8> bytes);

} // namespace radvex
