#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// A number of up to eight bytes, the highest first, as JPEG 2000 has them.
/// @param offset  of its first byte; all of them have to be there
inline std::uint64_t bigEndian(std::span<const Uint8> bytes, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < size; ++index) {
        value = value << 8 | bytes[offset + index];
    }
    return value;
}

} // namespace radvex
