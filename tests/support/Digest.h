#pragma once

#include <cstdint>

#include "host/Value.h"

namespace radvex::test {

/// FNV-1a over kind, sizes, names and contents of a value: the same for the same value.
std::uint64_t digestOf(const velmora::Value& value);

/// Bytes of the pixels, elements and texts in a value.
std::uint64_t sizeOf(const velmora::Value& value);

} // namespace radvex::test
