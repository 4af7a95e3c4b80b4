#pragma once

#include <string>
#include <vector>

#include "dicom/pixels/ImageOptions.h"
#include "dicom/pixels/TabledPicture.h"

namespace radvex::test {

/// A picture opened both ways, by DCMTK alone and by table.
struct PictureComparison {
    /// Why the table was not used; empty when it was.
    std::string reason{};
    /// What differs, in words; empty when every byte is the same.
    std::string difference{};
};

/// Renders all frames with each window at 8, 16 and 32 bits, and takes the values before the window, in both ways.
PictureComparison comparePictures(DcmDataset& dataset, const ImageOpenOptions& options, SampleSource source,
                                  const std::vector<ImageReadOptions>& windows);

} // namespace radvex::test
