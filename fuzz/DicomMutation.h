#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace radvex::fuzz {

/// Changes `size` bytes of a buffer that holds `maxSize`; gives the new size.
using MutateBytes = std::size_t (*)(std::uint8_t* data, std::size_t size, std::size_t maxSize);

/// Changes one element of a file in explicit little endian anywhere in the input: its number, text, length, value
/// representation, tag or offset. Bytes changed at random seldom hit these, and break the file before they do.
///
/// @param mutateBytes  used on values; null: they are not changed that way
/// @return false  there is no element; the input is as it was
bool mutateElement(std::vector<unsigned char>& input, std::minstd_rand& random, MutateBytes mutateBytes = nullptr);

} // namespace radvex::fuzz
