#pragma once

#include <string>
#include <vector>

namespace radvex::fuzz {

/// A file as its bytes, and what it is.
struct SeedFile {
    std::string name{};
    std::string bytes{};
};

/// Small files, one for each road through the library: kinds of pixels, transfer syntaxes, overlays, lookup tables,
/// sequences, character sets. The same at every run, but for the unique identifiers that a codec makes up.
const std::vector<SeedFile>& seedFiles();

/// A picture of 2 x 3 pixels, in explicit little endian.
std::string seedImage();

/// A DICOMDIR with three pictures in two series, "A", "B" and "C".
std::string seedDirectory();

} // namespace radvex::fuzz
