#include "dicom/pixels/Picture.h"

#include <cstring>

namespace radvex {

namespace {

/// Samples of the first plane, null when there are none: for colour, DCMTK's data is a table of pointers to its planes.
const void* firstPlane(const DicomImage& image, const DiPixel& pixels) {
    const void* data = pixels.getData();
    return image.isMonochrome() != 0 || data == nullptr ? data : *static_cast<const void* const*>(data);
}

} // namespace

std::size_t bytesOf(EP_Representation representation) {
    switch (representation) {
    case EPR_Uint8:
    case EPR_Sint8: return 1;
    case EPR_Uint16:
    case EPR_Sint16: return 2;
    case EPR_Uint32:
    case EPR_Sint32: return 4;
    }
    return 0;
}

bool Picture::render(void* target, std::size_t bytes, int bits, unsigned long frame, bool isByPlane) {
    return mImage->getOutputData(target, bytes, bits, frame, isByPlane ? 1 : 0) != 0;
}

std::optional<Picture::Values> Picture::values() const {
    const DiPixel* pixels = mImage->getInterData();
    if (pixels == nullptr || firstPlane(*mImage, *pixels) == nullptr) {
        return std::nullopt;
    }
    return Values{pixels->getRepresentation(), pixels->getCount()};
}

bool Picture::copyValues(void* target) {
    const DiPixel& pixels = *mImage->getInterData();
    std::memcpy(target, firstPlane(*mImage, pixels), pixels.getCount() * bytesOf(pixels.getRepresentation()));
    return true;
}

} // namespace radvex
