#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/volumes/VolumeGeometry.h"
#include "velmora/VelmoraLibrary.h"

namespace radvex::formats {

/// A volume that cannot be made, or that the format cannot hold.
class VolumeError : public Error {
  public:
    using Error::Error;
};

/// What a volume file says before its samples. The samples follow volume by volume, slice by slice, row by row, with
/// interleaved channels.
struct VolumeHeader {
    vint type = 0;     ///< VNumericArray_...; integers have up to 32 bits
    vint channels = 1; ///< 1, or 3 for RGB
    vint columns = 0;
    vint rows = 0;
    vint slices = 0;
    VolumeGeometry geometry{};
    vint volumes = 1;                 ///< over 1: a fourth dimension
    double secondsBetweenVolumes = 0; ///< 0 if the fourth dimension is not time, or uneven
    double slope = 1;                 ///< of stored values, which only NIfTI can have
    double intercept = 0;
    std::string unit{};       ///< of the values: "HU"; empty if unknown
    bool isResampled = false; ///< slices were interpolated

    /// Slowest axis first: [volume][slice][row][column][channel], without a single volume or channel.
    std::vector<vint> shape() const;
};

/// What stands in front of the samples of a volume file that is not compressed, in the format that the path ends in.
/// @throws VolumeError  the format cannot hold the volume
std::string volumeHead(const std::string& path, const VolumeHeader& header);

using SliceBytes = std::span<const std::byte>;

/// Writes a volume in the format that the path ends in: .nrrd, .nii, .nii.gz or .npy (which cannot hold the geometry).
/// "-" is the standard output, as NRRD.
/// @param slices    in the order of the file
/// @param compress  compress the samples of an NRRD file with gzip
/// @throws VolumeError  the format cannot hold the volume
/// @throws FileError
void writeVolume(const files::Output& output, const VolumeHeader& header, const std::vector<SliceBytes>& slices,
                 bool compress);

/// Whether writeVolume knows a format for this path.
bool isVolumePath(const std::string& path);
/// The ending of the path that tells the format, such as ".nii.gz"; empty if none does.
std::string volumeExtension(const std::string& path);

} // namespace radvex::formats
