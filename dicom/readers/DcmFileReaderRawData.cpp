// Values after the modality transformation and before any window (PS3.3 C.11.1).

#include "bridge/containers/NumericArray.h"
#include "dicom/readers/DcmFileReader.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;
using GTU::Passing::Manual;

template <typename T>
void setArray(GTU::VArgumentManager& manager, GTU::NumericArray<T, Manual>&& array) {
    manager.setResult(array);
}

template <typename T>
void setArray(ArrayList& list, GTU::NumericArray<T, Manual>&& array) {
    list.push_back<VArgumentType::NumericArray, Manual>(std::move(array));
}

template <typename T, typename Target>
bool loadRawData(Target& target, const std::vector<int>& dims, Picture& picture) {
    GTU::NumericArray<T, Manual> array(GTU::VArrayDimensions(dims.begin(), dims.end()));
    if (!picture.copyValues(array.getData())) {
        return false;
    }
    setArray(target, std::move(array));
    return true;
}

template <typename Target>
bool loadRawData(Target& target, const std::vector<int>& dims, Picture& picture, EP_Representation representation) {
    switch (representation) {
    case EPR_Uint8: return loadRawData<unsigned char>(target, dims, picture);
    case EPR_Sint8: return loadRawData<signed char>(target, dims, picture);
    case EPR_Uint16: return loadRawData<unsigned short>(target, dims, picture);
    case EPR_Sint16: return loadRawData<short>(target, dims, picture);
    case EPR_Uint32: return loadRawData<unsigned int>(target, dims, picture);
    case EPR_Sint32: return loadRawData<int>(target, dims, picture);
    default: return true; // another representation has no array type: no result and no error
    }
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
    const auto picture = openPicture(options, {.needsValues = true});
    const auto values = picture->values();
    if (!values) {
        ErrorManager::throwException("RawPixelReadError", filePath);
    }
    std::vector<int> dims{static_cast<int>(picture->height()), static_cast<int>(picture->width())};
    const unsigned long frames = picture->frames();
    requirePixelCount(values->count, picture->height() * picture->width() * frames);
    if (frames > 1) {
        dims.insert(dims.begin(), static_cast<int>(frames));
    }
    if (!loadRawData(target, dims, *picture, values->representation)) {
        requireWhole();
        ErrorManager::throwException("RawPixelReadError", filePath);
    }
}

template void DcmFileReader::readIntermediatePixelData(GTU::VArgumentManager&, const ImageOpenOptions&) const;
template void DcmFileReader::readIntermediatePixelData(ArrayList&, const ImageOpenOptions&) const;

} // namespace radvex
