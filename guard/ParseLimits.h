#pragma once

#include <cstddef>
#include <cstdint>

namespace radvex {

/// What a file may ask of DCMTK's parser.
struct ParseLimits {
    std::size_t levels = 100;          ///< of sequences inside sequences, pixel sequences included
    std::size_t directoryLevels = 100; ///< of directory records by their references to lower levels
    std::uint64_t outOfOrder = 20'000; ///< elements of one item
    /// Comparisons while elements and private creators are looked for in lists, in the whole file: some seconds. Many
    /// items out of order, or a few elements behind very many, stay below the limit of one item.
    std::uint64_t comparisons = 1'000'000'000;
    std::uint64_t inflatedBytes = std::uint64_t{1} << 30;
};

} // namespace radvex
