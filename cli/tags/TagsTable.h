#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/Terminal.h"
#include "cli/tags/TagPath.h"
#include "media/ElementList.h"

namespace radvex::cli {

using Row = std::vector<std::string>;

/// A cell for each path: UTF-8, several values with a backslash between them, "(2 items)" for a sequence and
/// "(16 bytes)" for bytes and words; empty when the element is empty or absent.
/// @param isThere  receives for each path whether the file has the attribute
Row cellsOf(const std::vector<media::Element>& elements, const std::vector<TagPath>& paths, std::vector<bool>& isThere);

/// What to read of a file for these cells.
media::ElementRequest requestFor(const std::vector<TagPath>& paths);

/// A row of comma-separated values: a cell with commas, quotes, line ends or outer blanks stands in quotes (RFC 4180).
/// Rows end with a line feed alone, as the tools of this system expect.
std::string csvRow(const Row& row);

/// Rows below each other with aligned columns; the first one is the head. On a terminal the widest columns are cut
/// until a row fits into a line.
std::string alignedTable(const std::vector<Row>& rows, const Look& look, bool whole);

} // namespace radvex::cli
