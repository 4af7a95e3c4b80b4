// The road for files that DCMTK cannot render: the bytes of Pixel Data in the shape that the file's attributes tell.

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_map>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcelem.h"
#include "dicom/pixels/ImageRendering.h"
#include "dicom/readers/DcmFileReader.h"
#include "guard/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::Passing::Manual;

/// Photometric interpretations (PS3.3 C.7.6.3.1.2) whose samples a picture can take as they are.
const std::unordered_map<std::string, vint> colorMapVImage{
    {"MONOCHROME1", VColorSpace_Grey},
    {"MONOCHROME2", VColorSpace_Grey},
    {"PALETTE COLOR", VColorSpace_RGB},
    {"RGB", VColorSpace_RGB},
};

/// What the file's attributes say of its pixels.
struct PixelAttributes {
    std::string photometricInterpretation{};
    int samplesPerPixel = 0;
    int columns = 0;
    int rows = 0;
    int bitsAllocated = 0;
    int frames = 1;
};

/// From the texts, unlike ImagePixelAttributes: a missing number is std::invalid_argument, which hosts know as the
/// general failure, and a number may have any representation.
PixelAttributes readPixelAttributes(DcmItem* dataset) {
    const auto number = [&](const DcmTagKey& key) { return std::stoi(getItemStringArr(dataset, key)); };
    PixelAttributes attributes;
    attributes.photometricInterpretation = getItemStringArr(dataset, DCM_PhotometricInterpretation);
    attributes.samplesPerPixel = number(DCM_SamplesPerPixel);
    attributes.columns = number(DCM_Columns);
    attributes.rows = number(DCM_Rows);
    attributes.bitsAllocated = number(DCM_BitsAllocated);
    attributes.frames = getItemStringArr(dataset, DCM_NumberOfFrames).empty() ? 1 : number(DCM_NumberOfFrames);
    return attributes;
}

/// The value as an array of `T`; null when DCMTK does not give it as one.
const void* valueAs(DcmElement& element, unsigned char) {
    Uint8* values = nullptr;
    return element.getUint8Array(values).good() ? values : nullptr;
}

const void* valueAs(DcmElement& element, unsigned short) {
    Uint16* values = nullptr;
    return element.getUint16Array(values).good() ? values : nullptr;
}

const void* valueAs(DcmElement& element, float) {
    Float32* values = nullptr;
    return element.getFloat32Array(values).good() ? values : nullptr;
}

const void* valueAs(DcmElement& element, double) {
    Float64* values = nullptr;
    return element.getFloat64Array(values).good() ? values : nullptr;
}

/// Channels and layout of the picture.
struct SampleLayout {
    vint channels;
    bool interleaved;
};

/// Bytes that the picture needs beyond what the value holds. Counted from the numbers that the picture is made with,
/// which the renderer may have read in another way.
double missingBytes(const PixelAttributes& attributes, const SampleLayout& layout, std::size_t elementSize,
                    Uint32 held) {
    const double frameBytes = 1.0 * attributes.rows * attributes.columns * layout.channels;
    return std::max(1, attributes.frames) * std::max(1.0, frameBytes * static_cast<double>(elementSize)) - held;
}

/// Nothing when the attributes do not fit a picture.
std::optional<SampleLayout> layoutOf(const PixelAttributes& attributes, vint colorSpace, DcmItem* dataset) {
    constexpr int kRealBits = 32;
    if (colorSpace == VColorSpace_Grey) {
        if (attributes.bitsAllocated >= kRealBits && attributes.samplesPerPixel != 1) {
            return std::nullopt;
        }
        return SampleLayout{1, false}; // whatever SamplesPerPixel says
    }
    const auto planarConfiguration = ImagePixelAttributes(*dataset).number(DCM_PlanarConfiguration);
    if (!planarConfiguration || attributes.bitsAllocated >= kRealBits) {
        return std::nullopt;
    }
    return SampleLayout{3, *planarConfiguration == 0};
}

} // namespace

template <typename T>
GTU::Image<T, Manual> DcmFileReader::getImageFallback() const {
    DcmElement* element = nullptr;
    (void)dataset->findAndGetElement(DCM_PixelData, element, OFFalse, OFFalse);
    const PixelAttributes attributes = readPixelAttributes(dataset);
    const auto colorSpace = colorMapVImage.find(attributes.photometricInterpretation);
    if (element == nullptr || element->getLength() == 0 || colorSpace == colorMapVImage.end()) {
        ErrorManager::throwException("ImageReadError", filePath);
    }
    const auto layout = layoutOf(attributes, colorSpace->second, dataset);
    if (!layout || missingBytes(attributes, *layout, sizeof(T), element->getLength()) > kMaxMissingBytes) {
        ErrorManager::throwException("ImageReadError", filePath);
    }
    const vint slices = attributes.frames > 1 ? attributes.frames : 0;
    (void)checkedProduct({std::max(1, slices), attributes.columns, attributes.rows, layout->channels});
    GTU::Image<T, Manual> image(slices, attributes.columns, attributes.rows, layout->channels, colorSpace->second,
                                layout->interleaved);
    const void* values = valueAs(*element, T{});
    requireWhole();
    if (values == nullptr) {
        ErrorManager::throwException("ImageReadError", filePath);
    }
    // What the file does not hold stays zero. The length is asked for again: DCMTK pads an odd value when it loads it.
    const std::size_t wanted = static_cast<std::size_t>(image.getFlattenedLength()) * sizeof(T);
    std::memcpy(image.getData(), values, std::min<std::size_t>(wanted, element->getLength()));
    return image;
}

template <typename Target>
void DcmFileReader::readImageFallback(Target& target) const {
    Uint16 bitsAllocated = 0;
    const OFCondition found = dataset->findAndGetUint16(DCM_BitsAllocated, bitsAllocated, 0, OFFalse);
    if (found.bad()) {
        ErrorManager::throwException("ImageOpenError", filePath, found.text());
    }
    switch (bitsAllocated) {
    case 8: return setImage(target, getImageFallback<unsigned char>());
    case 16: return setImage(target, getImageFallback<unsigned short>());
    case 32: return setImage(target, getImageFallback<float>());
    case 64: return setImage(target, getImageFallback<double>());
    default: ErrorManager::throwException("ImageOpenError", filePath); // no status: DCMTK's own is forgotten by now
    }
}

template void DcmFileReader::readImageFallback(GTU::VArgumentManager&) const;
template void DcmFileReader::readImageFallback(ImageList&) const;

} // namespace radvex
