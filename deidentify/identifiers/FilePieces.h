#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace radvex::deidentify {

/// Reads a file from its start to its end in pieces of a quarter of a megabyte.
/// @param take  gets each piece; returns false to stop
/// @throws std::runtime_error  part of a sentence: it cannot be read
void readInPieces(const std::string& path, const std::function<bool(std::string_view piece)>& take);

} // namespace radvex::deidentify
