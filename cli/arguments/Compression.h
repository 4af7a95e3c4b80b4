#pragma once

#include <string>

#include "velmora/VelmoraLibrary.h"

namespace radvex::cli {

/// How pixels are stored, as the library takes it.
struct Compression {
    std::string name = "Uncompressed";
    vint first = 0;
    vint second = 0;
};

/// Reads NAME[:P1[,P2]]. What is not given has the value that Radvex.so's codecs use for themselves.
/// @throws UsageError  an unknown name, a number too many or out of its range
Compression parseCompression(const std::string& text);

/// The names and their numbers, for a help text.
std::string compressionHelp();

} // namespace radvex::cli
