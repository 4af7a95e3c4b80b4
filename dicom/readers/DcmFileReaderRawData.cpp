// Values after the modality transformation and before any window (PS3.3 C.11.1).

#include <cstring>

#include "bridge/containers/NumericArray.h"
#include "dcmtk/dcmimgle/dcmimage.h"
#include "dicom/readers/DcmFileReader.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;
using GTU::Passing::Manual;

/// Samples of the first plane, null when there are none: for colour, DCMTK's data is a table of pointers to its planes.
const void* firstPlane(const DicomImage& image, const DiPixel& pixels) {
    const void* data = pixels.getData();
    return image.isMonochrome() != 0 || data == nullptr ? data : *static_cast<const void* const*>(data);
}

template <typename T>
void setArray(GTU::VArgumentManager& manager, GTU::NumericArray<T, Manual>&& array) {
    manager.setResult(array);
}

template <typename T>
void setArray(ArrayList& list, GTU::NumericArray<T, Manual>&& array) {
    list.push_back<VArgumentType::NumericArray, Manual>(std::move(array));
}

template <typename T, typename Target>
void loadRawData(Target& target, const std::vector<int>& dims, const void* samples, unsigned long count) {
    GTU::NumericArray<T, Manual> array(GTU::VArrayDimensions(dims.begin(), dims.end()));
    if (count > 0) {
        std::memcpy(array.getData(), samples, count * sizeof(T));
    }
    setArray(target, std::move(array));
}

} // namespace

void requirePixelCount(unsigned long found, unsigned long expected) {
    if (found != expected) {
        ErrorManager::throwException("RawPixelCountError", static_cast<long long>(found),
                                     static_cast<long long>(expected));
    }
}

template <typename Target>
void DcmFileReader::readIntermediatePixelData(Target& target, const ImageOpenOptions& options) const {
    const auto image = openDicomImage(options);
    const DiPixel* pixels = image->getInterData();
    const void* samples = pixels == nullptr ? nullptr : firstPlane(*image, *pixels);
    if (samples == nullptr) {
        ErrorManager::throwException("RawPixelReadError", filePath);
    }
    std::vector<int> dims{static_cast<int>(image->getHeight()), static_cast<int>(image->getWidth())};
    const unsigned long frames = image->getFrameCount();
    const unsigned long count = pixels->getCount();
    const unsigned long expected = image->getHeight() * image->getWidth() * frames;
    requirePixelCount(count, expected);
    if (frames > 1) {
        dims.insert(dims.begin(), static_cast<int>(frames));
    }
    switch (pixels->getRepresentation()) {
    case EPR_Uint8: return loadRawData<unsigned char>(target, dims, samples, count);
    case EPR_Sint8: return loadRawData<signed char>(target, dims, samples, count);
    case EPR_Uint16: return loadRawData<unsigned short>(target, dims, samples, count);
    case EPR_Sint16: return loadRawData<short>(target, dims, samples, count);
    case EPR_Uint32: return loadRawData<unsigned int>(target, dims, samples, count);
    case EPR_Sint32: return loadRawData<int>(target, dims, samples, count);
    default: return; // another representation has no array type: no result and no error
    }
}

template void DcmFileReader::readIntermediatePixelData(GTU::VArgumentManager&, const ImageOpenOptions&) const;
template void DcmFileReader::readIntermediatePixelData(ArrayList&, const ImageOpenOptions&) const;

} // namespace radvex
