// Overlay planes as bit images (PS3.3 C.9.2).

#include <cstring>

#include "dcmtk/dcmimgle/dcmimage.h"
#include "dicom/pixels/ImageRendering.h"
#include "dicom/readers/DcmFileReader.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::Passing::Manual;

} // namespace

template <typename T>
GTU::Image<T, Manual> DcmFileReader::getOverlay(DicomImage& image, unsigned int plane) const {
    unsigned int width = 0;
    unsigned int height = 0;
    const void* pixels = image.getFullOverlayData(plane, width, height, 0, 8, 1, 0, 0); // null for a colour image
    if (pixels == nullptr) {
        ErrorManager::throwException("OverlayReadError", filePath);
    }
    const vint count = checkedProduct({width, height});
    GTU::Image<T, Manual> overlay(0, static_cast<vint>(width), static_cast<vint>(height), 1, VColorSpace_Automatic,
                                  false);
    std::memcpy(overlay.getData(), pixels, static_cast<std::size_t>(count));
    return overlay;
}

void DcmFileReader::readOverlay(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const {
    const auto image = openPixelsAndOverlays(options, PixelsAfterwards::stay);
    setImage(manager, getOverlay<signed char>(*image, 0));
}

void DcmFileReader::readOverlay(ImageList& list, const ImageOpenOptions& options) const {
    const auto image = openPixelsAndOverlays(options, PixelsAfterwards::stay);
    setImage(list, getOverlay<signed char>(*image, 0));
}

void DcmFileReader::readOverlays(ImageList& list, const ImageOpenOptions& options) const {
    const auto image = openPixelsAndOverlays(options, PixelsAfterwards::stay);
    for (unsigned int plane = 0; plane < image->getOverlayCount(0); ++plane) {
        addImage(list, std::to_string(plane + 1), getOverlay<signed char>(*image, plane));
    }
}

void DcmFileReader::readOverlays(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const {
    ImageList list;
    readOverlays(list, options);
    manager.setResult(list);
}

GTU::NumericArray<signed char, Manual> readOverlayDataBuffer(const Uint16* data, unsigned long wordCount,
                                                             std::initializer_list<int> dims) {
    constexpr unsigned long kBits = 16;
    GTU::NumericArray<signed char, Manual> array{GTU::VArrayDimensions(dims)};
    const auto size = static_cast<unsigned long>(array.getSize());
    signed char* pixels = array.getData();
    // The caller makes sure that words and dims agree; whatever they are, nothing is written beyond the array.
    for (unsigned long index = 0; index < wordCount * kBits && index < size; ++index) {
        pixels[index] = static_cast<signed char>((data[index / kBits] >> (index % kBits)) & 1);
    }
    return array;
}

} // namespace radvex
