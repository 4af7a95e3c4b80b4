#pragma once

#include "formats/volumes/VolumeFile.h"

namespace radvex::formats {

/// The text before the samples of an NRRD0005 file, with the empty line that ends it. A volume with a position has the
/// space left-posterior-superior with its directions and origin; another one has only spacings.
/// Written by hand: it is a few lines of text, and Debian packages no small library for the format.
/// @param isCompressed  the samples are compressed with gzip
std::string nrrdHeader(const VolumeHeader& header, bool isCompressed);

} // namespace radvex::formats
