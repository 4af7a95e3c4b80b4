#pragma once

#include "formats/volumes/VolumeFile.h"

namespace radvex::formats {

/// The first 352 bytes of a NIfTI-1 file: the header, and the word that says that no extension follows. Positions are
/// turned from LPS to the RAS of NIfTI, with code 1 (scanner). The rotation form cannot hold a sheared matrix: it has
/// code 0 then, and only the affine form is set. A volume without a position has code 0 in both, and spacings.
/// @throws VolumeError  over 32767 samples along an axis, or colour of more than 8 bits
std::string niftiHeader(const VolumeHeader& header);

} // namespace radvex::formats
