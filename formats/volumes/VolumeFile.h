#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "files/Errors.h"
#include "formats/volumes/VolumeGeometry.h"
#include "velmora/VelmoraLibrary.h"

namespace radvex::formats {

/// A volume that cannot be made or that a format cannot hold.
class VolumeError : public Error {
  public:
    using Error::Error;
};

/// What a volume file says before its samples. These follow slice by slice, row by row, the channels of a pixel side
/// by side.
struct VolumeHeader {
    vint type = 0;     ///< VNumericArray_..., up to 32 bits for integers
    vint channels = 1; ///< 1, or 3 for RGB
    vint columns = 0;
    vint rows = 0;
    vint slices = 0;
    VolumeGeometry geometry{};
};

using SliceBytes = std::span<const std::byte>;

/// Writes a volume in the format that the end of the path says: .nrrd, .nii, .nii.gz or .npy (which has no room for the
/// geometry). "-" is the standard output, as NRRD.
/// @param slices    in the order of the file
/// @param compress  samples of an NRRD file go through gzip
/// @throws VolumeError  the format cannot hold the volume
/// @throws FileError
void writeVolume(const std::string& path, const VolumeHeader& header, const std::vector<SliceBytes>& slices,
                 bool compress);

/// Whether writeVolume knows a format for this path.
bool isVolumePath(const std::string& path);
/// The end of the path that says the format, such as ".nii.gz"; empty for none.
std::string volumeExtension(const std::string& path);

} // namespace radvex::formats
