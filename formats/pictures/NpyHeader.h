#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace radvex::formats {

/// Whether these bytes start as NumPy's .npy format does.
bool isNpy(std::span<const std::byte> bytes);

/// What the header of a .npy file says, checked against the length of the file.
struct NpyHeader {
    std::string type{};          ///< NumPy's name without the byte order: "b1", "u1", "u2", "f4", "f8" and others
    std::size_t itemSize = 0;    ///< bytes of an element
    bool isBigEndian = false;    ///< of elements of more than one byte
    bool isFortranOrder = false; ///< the first index runs fastest
    std::vector<std::uint64_t> shape{};
    std::size_t dataOffset = 0; ///< the elements are the rest of the file from here
};

/// Reads the header of versions 1.0 to 3.0.
/// @param name  the file, for the sentence of an error
/// @throws FileError  another version, a header that is none, records or objects as elements, more or fewer bytes than
///                    type and shape say
NpyHeader readNpyHeader(const std::string& name, std::span<const std::byte> bytes);

} // namespace radvex::formats
