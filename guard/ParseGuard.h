#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "guard/OpenFile.h"

namespace radvex {

/// Bounds for what a file may cost DCMTK's parser.
struct ParseLimits {
    std::size_t levels = 100;          ///< nesting of sequences, including pixel sequences
    std::size_t directoryLevels = 100; ///< nesting of directory records
    std::uint64_t outOfOrder = 20'000; ///< elements of one item that are out of order
    /// Comparisons in the whole file while DCMTK searches its lists of elements and private creators; these take some
    /// seconds. Many items with few elements out of order, or few elements after very many, exceed no limit of one
    /// item.
    std::uint64_t comparisons = 1'000'000'000;
    std::uint64_t objects = 10'000'000; ///< elements, items and fragments of the whole file
    std::uint64_t inflatedBytes = std::uint64_t{1} << 30;
};

/// Checks the element headers of a file before DCMTK parses it. DCMTK's parser recurses for each nested sequence and
/// directory record, inserts elements that are out of order by linear search, and inflates without a limit. This check
/// does not recurse and reads no values; it inflates a deflated dataset piece by piece.
///
/// The file must not change between the check and the load. All other errors are left to DCMTK. A file that
/// cannot be read (see OpenFile::hasFailed) is not checked.
///
/// @param statesHtj2k  becomes true when the meta information states HTJ2K, of which DCMTK has to be told
/// @return the reason to refuse the file, as a part of a sentence for OpenFileError; nothing when DCMTK may load it
std::optional<std::string> reasonNotToParse(OpenFile& file, const ParseLimits& limits = {},
                                            bool* statesHtj2k = nullptr);
/// Checks the file of a path. A path without a plain file gives no reason to refuse it.
std::optional<std::string> reasonNotToParse(const std::string& path, const ParseLimits& limits = {});

} // namespace radvex
