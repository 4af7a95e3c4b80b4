#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace radvex::formats {

// The .npy format is read and written by hand: its header is one line of text, and Debian packages no library for it.

/// NumPy's name of a numeric array type, such as "<i2".
std::string numpyType(vint type);

/// A header of version 1.0 for a little-endian array. @param shape  slowest index first
std::string npyHeader(vint type, const std::vector<vint>& shape);

/// Whether these bytes start like a .npy file.
bool isNpy(std::span<const std::byte> bytes);

/// What the header of a .npy file says, checked against the length of the file.
struct NpyHeader {
    std::string type{};          ///< NumPy's name without the byte order: "b1", "u1", "u2", "f4", "f8" and others
    std::size_t itemSize = 0;    ///< bytes of an element
    bool isBigEndian = false;    ///< only for elements of more than one byte
    bool isFortranOrder = false; ///< the first index runs fastest
    std::vector<std::uint64_t> shape{};
    std::size_t dataOffset = 0; ///< the elements are the rest of the file from here on
};

/// Reads the header of versions 1.0 to 3.0.
/// @param name  the file, for error messages
/// @throws FileError  another version, a malformed header, records or objects as elements, more or fewer bytes than
///                    type and shape say
NpyHeader readNpyHeader(const std::string& name, std::span<const std::byte> bytes);

} // namespace radvex::formats
