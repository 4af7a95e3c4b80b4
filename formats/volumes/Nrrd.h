#pragma once

#include "formats/volumes/VolumeFile.h"

namespace radvex::formats {

/// Text in front of the samples of an NRRD0005 file, with the empty line that ends it. A placed volume has the space
/// left-posterior-superior with its directions and origin; another has spacings alone.
std::string nrrdHeader(const VolumeHeader& header, bool compress);

/// @throws FileError
void writeNrrd(const std::string& path, const VolumeHeader& header, const std::vector<SliceBytes>& slices,
               bool compress);

} // namespace radvex::formats
