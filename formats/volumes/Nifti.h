#pragma once

#include "formats/volumes/VolumeFile.h"

namespace radvex::formats {

/// The first 352 bytes of a NIfTI-1 file: header and the word that says that no extension follows. Places are turned
/// from LPS to NIfTI's RAS, with code 1 (scanner). The rotation form cannot hold a sheared matrix: it has code 0 then,
/// and only the affine form speaks. A volume without a place has code 0 in both, and spacings.
/// @throws VolumeError  over 32767 samples along an axis, or colour of more than 8 bits
std::string niftiHeader(const VolumeHeader& header);

/// One file, .nii; through gzip when the path ends in .gz.
/// @throws VolumeError  as above
/// @throws FileError
void writeNifti(const std::string& path, const VolumeHeader& header, const std::vector<SliceBytes>& slices);

} // namespace radvex::formats
