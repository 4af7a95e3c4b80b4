#pragma once

#include <string>
#include <vector>

namespace radvex::cli {

/// A library that this program is made of.
struct LibraryVersion {
    std::string name{};
    std::string version{}; ///< empty when it does not say
    std::string file{};    ///< from which it was loaded; empty when it is compiled in
};

/// The libraries that are compiled in, and those of a table that are loaded now: call it when the host has loaded the
/// library. This table is the one place to name a new library in.
std::vector<LibraryVersion> libraryVersions();

/// Names of the patches in cmake/dcmtk that DCMTK was built with: "01-jpegls-error-values".
std::vector<std::string> dcmtkPatches();

/// A line for each library, as `radvex --version --verbose` prints them: "zlib 1.2.13".
std::string versionLines();

} // namespace radvex::cli
