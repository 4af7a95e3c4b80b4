#pragma once

#include <string>
#include <vector>

#include "fuzz/SeedFiles.h"

namespace radvex::test {

/// A kind of damage, and the files that have it.
struct BrokenFiles {
    std::string kind;
    std::vector<fuzz::SeedFile> files;
};

/// Files made by code and broken with fixed seeds: cut everywhere in their structure, with flipped bits in headers
/// and in compressed streams, with wrong lengths, representations, numbers and sizes. Those of a DICOMDIR have a name
/// that begins with "DICOMDIR".
std::vector<BrokenFiles> brokenFiles();

} // namespace radvex::test
