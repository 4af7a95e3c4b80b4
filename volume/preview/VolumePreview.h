#pragma once

#include <string>
#include <vector>

#include "files/OutputFile.h"
#include "formats/volumes/VolumeFile.h"
#include "volume/geometry/GeometryVerdict.h"

namespace radvex::volume {

/// What a preview says beside what the header of the volume says.
struct PreviewText {
    std::string title{}; ///< name of the volume, such as its file; size and spacing are added
    std::string unit{};  ///< of the values, such as "HU"; empty if unknown
    std::vector<Finding> findings{};
};

/// Writes one PNG (RGB, 8 bits) that a person looks at before trusting a volume: the middle planes of its three
/// directions in true proportions with orientation letters and a scale bar each, the window, and the findings below.
/// There are no letters without a position in space, and no bars when a finding says that the pixel spacing is unknown.
///
/// Only the voxels that are shown and a sample for the window are read, so that the time hardly depends on the size of
/// the volume. The voxels of a pixel are averaged, a few along each axis when there are many. A tilt is not
/// drawn but told. Text is made printable; characters that are not Latin, Greek or Cyrillic become U+FFFD.
/// @param path    "-" is the standard output
/// @param slices  in the order of the file, each of one or several whole slices
/// @throws formats::VolumeError  no voxels, or not the bytes that the header says
/// @throws FileError
void writePreview(const files::Output& output, const formats::VolumeHeader& header,
                  const std::vector<formats::SliceBytes>& slices, const PreviewText& text);

} // namespace radvex::volume
