#pragma once

#include <optional>
#include <string>

namespace radvex::study {

/// Looks through the element headers of a file before DCMTK parses it: DCMTK goes down into sequences by recursion, and
/// a file of half a megabyte can nest deep enough to exhaust the stack.
///
/// Values are skipped, nothing is kept. What the scan cannot follow it leaves to DCMTK, which ends there too.
/// @param hasMark  the file begins with a preamble and the mark of a DICOM file
/// @return why the file is not to be parsed, as part of a sentence; nothing when it may be
std::optional<std::string> whyNotToParse(const std::string& path, bool hasMark);

} // namespace radvex::study
