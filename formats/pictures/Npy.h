#pragma once

#include <span>
#include <string>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace radvex::formats {

/// NumPy's name of a numeric array type, such as "<i2".
std::string numpyType(vint type);

/// Writes NumPy's .npy format, version 1.0: a header that names type and shape (slowest index first), then the parts
/// one behind the other, little-endian.
/// @throws FileError
void writeNpy(const std::string& path, vint type, const std::vector<vint>& shape,
              const std::vector<std::span<const std::byte>>& parts);

} // namespace radvex::formats
