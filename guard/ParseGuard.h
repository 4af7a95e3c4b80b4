#pragma once

#include <optional>
#include <string>

#include "ParseLimits.h"

namespace radvex {

/// Looks through the element headers of a file before DCMTK parses it, which recurses along sequences and directory
/// records, inserts elements that are out of order by linear search, and inflates without a limit. Values are not read
/// (a deflated dataset is inflated as a stream, never kept as a whole), and nothing here recurses.
///
/// The file must not change between this and the load. What is missing, is no plain file or cannot be read is left to
/// DCMTK, as are all other errors.
///
/// @param path  as the caller gives it; "-" is the file of that name, not the standard input
/// @return the reason to refuse the file as a sentence part for OpenFileError, nothing when DCMTK may load it
std::optional<std::string> reasonNotToParse(const std::string& path, const ParseLimits& limits = {});

} // namespace radvex
