#pragma once

#include <string>
#include <vector>

#include "formats/pictures/Npy.h"
#include "host/Value.h"

namespace radvex::formats {

/// Reads a PNG or .npy file, whichever its first bytes say; "-" is the standard input.
/// @param axes  of an array; see readNpy
/// @throws FileError
velmora::Image readPictureFile(const std::string& file, const AxesRule& axes);

/// Several files as the frames of one image, in order; all frames of each file are taken.
/// @throws FileError  also if a file differs from the first in rows, columns, channels or type
velmora::Image readPictureFiles(const std::vector<std::string>& files, const AxesRule& axes);

/// A bit image from a grey file of 1, 8 or 16 bits: 0 is clear, every other value is set.
/// @throws FileError  also for colour and reals
velmora::Image readMaskFile(const std::string& file);

} // namespace radvex::formats
