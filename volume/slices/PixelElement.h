#pragma once

#include <cstdint>
#include <string>

namespace radvex::volume {

/// Whether the Pixel Data (7FE0,0010) of a file that is not compressed holds so many bytes. DCMTK says nothing about
/// those that are missing, and the library gives 0 for them.
///
/// The element mostly ends the file, so that its header lies where the size says. Otherwise the file is searched for a
/// header with a length that suffices.
/// @return true if the file cannot be read
bool holdsPixels(const std::string& path, std::uint64_t bytes);

} // namespace radvex::volume
