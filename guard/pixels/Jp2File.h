#pragma once

#include <span>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

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
