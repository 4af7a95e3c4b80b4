#pragma once

#include <array>
#include <cstddef>

#include "velmora/VelmoraLibrary.h"

namespace radvex::formats {

/// Names of the host's element types, as the command prints and takes them. The code is the index.
inline constexpr std::array<const char*, 5> kImageTypeNames{"bit", "u8", "u16", "f32", "f64"};
inline constexpr std::array<const char*, 11> kArrayTypeNames{"",    "s8",  "u8",  "s16", "u16", "s32",
                                                             "u32", "s64", "u64", "f32", "f64"};
inline constexpr std::array<const char*, 5> kTensorTypeNames{"", "", "integer", "real", "complex"};

/// Name of a type code; "unknown" for an invalid code.
template <std::size_t N>
constexpr const char* typeName(const std::array<const char*, N>& names, vint code) {
    const bool isKnown =
        code >= 0 && static_cast<std::size_t>(code) < N && names[static_cast<std::size_t>(code)][0] != 0;
    return isKnown ? names[static_cast<std::size_t>(code)] : "unknown";
}

} // namespace radvex::formats
