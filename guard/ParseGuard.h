#pragma once

#include <optional>
#include <string>

#include "guard/OpenFile.h"
#include "guard/ParseLimits.h"

namespace radvex {

/// Looks through the element headers of a file before DCMTK parses it, which recurses along sequences and directory
/// records, inserts elements that are out of order by linear search, and inflates without a limit. Values are not read
/// (a deflated dataset is inflated as a stream, never kept as a whole), and nothing here recurses.
///
/// The file must not change between this and the load. All other errors than these are left to DCMTK; a file that could
/// not be read (see OpenFile::hasFailed) was not looked through.
///
/// @return the reason to refuse the file as a sentence part for OpenFileError, nothing when DCMTK may load it
std::optional<std::string> reasonNotToParse(OpenFile& file, const ParseLimits& limits = {});
/// The same for a path. What is missing or no plain file gives no reason.
std::optional<std::string> reasonNotToParse(const std::string& path, const ParseLimits& limits = {});

} // namespace radvex
