#pragma once

#include <string>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace radvex::formats {

/// How pixels are stored, in the form that the library takes.
struct Compression {
    std::string name = "Uncompressed";
    vint first = 0;
    vint second = 0;
};

/// Reads NAME[:P1[,P2]]. A number that is not given has the default value of the library's codecs.
/// @param label  what the text was given as, for messages: "--compress "
/// @throws UsageError  the name is unknown, or a number is unexpected or out of range
Compression parseCompression(const std::string& label, const std::string& text);

/// The names of all methods, the one without compression first.
std::vector<std::string> compressionNames();

/// The names and their default numbers, for a help text.
std::string compressionHelp();

} // namespace radvex::formats
