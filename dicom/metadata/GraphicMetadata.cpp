#include "dicom/metadata/GraphicMetadata.h"

#include <algorithm>
#include <cstring>

#include "bridge/containers/NumericArray.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/pixels/ImagePixelAttributes.h"
#include "dicom/pixels/PromisedPixels.h"

namespace radvex {

namespace {

using GTU::VArgumentType;
using GTU::Passing::Manual;
using ArrayList = GTU::DataList<VArgumentType::NumericArray, Manual>;

/// The value of an attribute as 16-bit words, whatever its value representation.
struct Words {
    const Uint16* data = nullptr;
    unsigned long count = 0;
};

/// Frames, and the shape of each, as the attributes tell them.
struct Shape {
    std::vector<int> dims{};
    unsigned long frames = 0;

    /// Bytes of a frame with `size` bytes an element, at least one. In double: they only have to be compared.
    double frameBytes(std::size_t size) const {
        double bytes = static_cast<double>(size);
        for (const int dimension : dims) {
            bytes *= dimension;
        }
        return std::max(1.0, bytes);
    }
};

bool readUint16(DcmItem* item, const char* keyword, Uint16& value) {
    const auto number = ImagePixelAttributes(*item).number(getTagKey(GeneralInfoMap, keyword));
    value = number.value_or(0);
    return number.has_value();
}

bool promisesTooMuch(const Shape& shape, std::size_t elementSize, double storedBytes) {
    const double frameBytes = shape.frameBytes(elementSize);
    return missingBytesOfFrames(static_cast<double>(shape.frames), storedBytes / frameBytes, frameBytes) >
           kMaxMissingBytes;
}

/// One array for each frame; `fill(target, frame)` copies what the value holds of it.
template <typename T, typename Fill>
void saveFrames(ArrayList& list, const Shape& shape, Fill fill) {
    if (shape.frames == 0) {
        return;
    }
    const GTU::VArrayDimensions dimensions(shape.dims.begin(), shape.dims.end());
    for (unsigned long frame = 0; frame < shape.frames; ++frame) {
        GTU::NumericArray<T, Manual> array(dimensions);
        fill(array.getData(), static_cast<std::size_t>(array.getSize()), frame);
        list.push_back<VArgumentType::NumericArray, Manual>(std::move(array));
    }
}

/// Frames lie back to back.
template <typename T>
void savePixelData(ArrayList& list, const Words& value, const Shape& shape) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(value.data);
    const std::size_t held = value.count * sizeof(Uint16) / sizeof(T);
    saveFrames<T>(list, shape, [&](T* target, std::size_t elements, unsigned long frame) {
        const std::size_t start = std::min(held, elements * frame);
        std::memcpy(target, bytes + start * sizeof(T), std::min(elements, held - start) * sizeof(T));
    });
}

/// One bit a pixel, lowest bit first. Each frame starts at a whole word, not where the bits of the last one end: hosts
/// read multi-frame overlays that way.
void saveOverlayData(ArrayList& list, const Words& value, const Shape& shape) {
    constexpr std::size_t kBits = 16;
    saveFrames<signed char>(list, shape, [&](signed char* target, std::size_t elements, unsigned long frame) {
        const std::size_t wordsOfFrame = (elements + kBits - 1) / kBits;
        for (std::size_t index = 0; index < elements; ++index) {
            const std::size_t word = wordsOfFrame * frame + index / kBits;
            if (word >= value.count) {
                return;
            }
            target[index] = static_cast<signed char>((value.data[word] >> (index % kBits)) & 1);
        }
    });
}

bool saveOverlay(ArrayList& list, const Words& value, const Shape& shape) {
    if (shape.frames > 0) {
        (void)GTU::VArrayDimensions(shape.dims.begin(), shape.dims.end()); // a frame beyond `vint` is an error first
    }
    if (promisesTooMuch(shape, sizeof(signed char), 16.0 * static_cast<double>(value.count))) {
        return false;
    }
    saveOverlayData(list, value, shape);
    return true;
}

/// Reads what tells samples and depth. False when one of them is missing.
bool savePixels(ArrayList& list, DcmItem* item, const Words& value, Shape shape) {
    Uint16 samples = 0;
    Uint16 bitsAllocated = 0;
    if (!readUint16(item, "SamplesPerPixel", samples) || !readUint16(item, "BitsAllocated", bitsAllocated)) {
        return false;
    }
    if (samples > 1) {
        Uint16 planarConfiguration = 0;
        if (!readUint16(item, "PlanarConfiguration", planarConfiguration)) {
            return false;
        }
        shape.dims.insert(planarConfiguration == 0 ? shape.dims.end() : shape.dims.begin(), samples);
    }
    if (shape.frames > 0) {
        (void)GTU::VArrayDimensions(shape.dims.begin(), shape.dims.end()); // a frame beyond `vint` is an error first
    }
    const bool isByte = bitsAllocated == 8;
    if (promisesTooMuch(shape, isByte ? 1 : 2, 2.0 * static_cast<double>(value.count))) {
        return false;
    }
    if (isByte) {
        savePixelData<unsigned char>(list, value, shape);
    } else {
        savePixelData<unsigned short>(list, value, shape);
    }
    return true;
}

} // namespace

void saveGraphicMetadataToDataList(ResultList& list, DcmItem* item, DcmTag tag, bool numericName) {
    const std::string tagName = tag.getTagName();
    const bool isPixelData = tagName == "PixelData";
    OFString frames;
    const char* framesKeyword = isPixelData ? "NumberOfFrames" : "NumberOfFramesInOverlay";
    if (item->findAndGetOFString(getTagKey(GeneralInfoMap, framesKeyword), frames, 0, OFFalse).bad()) {
        frames = "1";
    }
    Uint16 columns = 0;
    Uint16 rows = 0;
    Words value;
    if (!readUint16(item, isPixelData ? "Columns" : "OverlayColumns", columns) ||
        !readUint16(item, isPixelData ? "Rows" : "OverlayRows", rows) ||
        item->findAndGetUint16Array(tag, value.data, &value.count, OFFalse).bad() || value.data == nullptr ||
        value.count == 0) {
        return;
    }
    const Shape shape{{rows, columns}, static_cast<unsigned long>(std::stoi(frames))};
    const std::string name = numericName ? std::string(tag.toString()) : tagName;
    ArrayList arrays;
    if (name == "OverlayData" ? saveOverlay(arrays, value, shape) : savePixels(arrays, item, value, shape)) {
        arrays.setOwnedByLibrary(false);
        GTU::Argument<VArgumentType::DataStore>::addDataStoreNode(list.getInternal(), name, arrays.getInternal());
    }
}

} // namespace radvex
