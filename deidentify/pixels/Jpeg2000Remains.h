#pragma once

#include <span>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex::deidentify {

/// Clears what is no picture in a fragment that begins with a codestream of JPEG 2000: comments of all headers
/// (ISO/IEC 15444-1, A.9.2), and bytes behind the end.
/// @param areCleared  becomes true when something was there
/// @return false where the codestream cannot be followed
bool clearJpeg2000(std::span<Uint8> bytes, bool& areCleared);

/// The same of a fragment that begins with a JP2 file, with all boxes that decoding does not need.
bool clearJp2(std::span<Uint8> bytes, bool& areCleared);

} // namespace radvex::deidentify
