#pragma once

#include <cstddef>
#include <string>

namespace radvex::volume {

/// NumberOfFrames of a compressed file as it stands there, at least 1; 0 for other files. The library gives the number
/// of the frames that a decoder finds: where fragments are missing, those behind them would get other numbers.
/// @throws FileError  a sentence that does not name the file
std::size_t promisedCompressedFrames(const std::string& path);

/// "holds 3 of the 4 frames that its attributes promise", for a compressed file; empty when none is missing.
/// @param frames  that the library gives
std::string missingFrames(const std::string& path, std::size_t frames);
/// @throws VolumeError  a sentence of that
void requireAllFrames(const std::string& path, std::size_t frames);

} // namespace radvex::volume
