#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmimgle/dcmimage.h"

namespace radvex {

/// The samples of a small picture, one or two frames of the same size. Only the last frame is rendered.
struct SmallPixels {
    std::vector<std::uint16_t> samples{};
    std::uint64_t rows = 0;
    std::uint64_t columns = 0;
    int frames = 1;
    std::size_t sampleSize = 2;     ///< in bytes
    DcmEVR representation = EVR_OW; ///< of Pixel Data

    std::uint64_t pixelsOfFrame() const { return rows * columns; }
};

/// An image with all attributes of another one that DCMTK renders by, and with pixels of its own.
struct SmallPicture {
    std::unique_ptr<DcmDataset> dataset{};
    std::unique_ptr<DicomImage> image{}; ///< null when DCMTK does not open it, or when an attribute cannot be copied
};

/// @param dataset  the image whose attributes it takes: those of group 0028 (image, modality transformation, windows,
///                 palettes) but for VOI LUTs, which no read applies; SOP class, presentation LUT shape and shared
///                 functional groups
/// @param keepsTables  tables that are still in the file are loaded into that dataset, as DCMTK would do
/// @param flags  DCMTK's configuration flags
SmallPicture openSmallPicture(DcmDataset& dataset, bool keepsTables, const SmallPixels& pixels, unsigned long flags);

/// Rows and columns for at least so many pixels. Their number is even: of an odd one of bytes DCMTK would count the
/// byte behind the last.
void setSize(SmallPixels& pixels, std::uint64_t least);

} // namespace radvex
