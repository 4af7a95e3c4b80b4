#include "dicom/metadata/GraphicMetadata.h"

#include <algorithm>
#include <cstring>

#include "bridge/containers/NumericArray.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "guard/pixels/ImagePixelAttributes.h"

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

/// The number of frames and the shape of each, as the attributes tell them.
struct Shape {
    std::vector<int> dims{};
    unsigned long frames = 0;
};

/// Adds one array for each frame; `fill(target, elements, frame)` copies what the value holds of it. Adds nothing and
/// returns false when the shape promises too many bytes more than are stored.
template <typename T, typename Fill>
bool saveFrames(ArrayList& list, const Shape& shape, double storedBytes, Fill fill) {
    if (shape.frames == 0) {
        return true;
    }
    const GTU::VArrayDimensions dimensions(shape.dims.begin(), shape.dims.end());
    const double frameBytes = std::max(1.0, static_cast<double>(sizeof(T)) * dimensions.getFlattenedLength());
    if (missingBytesOfFrames(static_cast<double>(shape.frames), storedBytes / frameBytes, frameBytes) >
        kMaxMissingBytes) {
        return false;
    }
    for (unsigned long frame = 0; frame < shape.frames; ++frame) {
        GTU::NumericArray<T, Manual> array(dimensions);
        fill(array.getData(), static_cast<std::size_t>(array.getSize()), frame);
        list.push_back<VArgumentType::NumericArray, Manual>(std::move(array));
    }
    return true;
}

/// Frames lie back to back.
template <typename T>
bool savePixelData(ArrayList& list, const Words& value, const Shape& shape) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(value.data);
    const std::size_t storedBytes = value.count * sizeof(Uint16);
    const std::size_t stored = storedBytes / sizeof(T);
    return saveFrames<T>(
        list, shape, static_cast<double>(storedBytes), [&](T* target, std::size_t elements, unsigned long frame) {
            const std::size_t start = std::min(stored, elements * frame);
            std::memcpy(target, bytes + start * sizeof(T), std::min(elements, stored - start) * sizeof(T));
        });
}

/// One bit for each pixel, lowest bit first. Each frame starts at a whole word, not where the bits of the last one end:
/// hosts read multi-frame overlays that way.
bool saveOverlayData(ArrayList& list, const Words& value, const Shape& shape) {
    constexpr std::size_t kBits = 16;
    const double storedPixels = static_cast<double>(kBits) * static_cast<double>(value.count);
    const auto fill = [&](signed char* target, std::size_t elements, unsigned long frame) {
        const std::size_t wordsOfFrame = (elements + kBits - 1) / kBits;
        for (std::size_t index = 0; index < elements; ++index) {
            const std::size_t word = wordsOfFrame * frame + index / kBits;
            if (word >= value.count) {
                return;
            }
            target[index] = static_cast<signed char>((value.data[word] >> (index % kBits)) & 1);
        }
    };
    return saveFrames<signed char>(list, shape, storedPixels, fill);
}

/// Adds the samples to the shape and saves the frames. False when an attribute is missing.
bool savePixels(ArrayList& list, const ImagePixelAttributes& attributes, const Words& value, Shape shape) {
    const auto samples = attributes.number(DCM_SamplesPerPixel);
    const auto bitsAllocated = attributes.number(DCM_BitsAllocated);
    if (!samples || !bitsAllocated) {
        return false;
    }
    if (*samples > 1) {
        const auto planarConfiguration = attributes.number(DCM_PlanarConfiguration);
        if (!planarConfiguration) {
            return false;
        }
        shape.dims.insert(*planarConfiguration == 0 ? shape.dims.end() : shape.dims.begin(), *samples);
    }
    return *bitsAllocated == 8 ? savePixelData<unsigned char>(list, value, shape)
                               : savePixelData<unsigned short>(list, value, shape);
}

} // namespace

void saveGraphicMetadataToDataList(ResultList& list, DcmItem* item, DcmTag tag, bool numericName) {
    const std::string tagName = tag.getTagName();
    const bool isPixelData = tagName == "PixelData";
    OFString frames;
    if (item->findAndGetOFString(isPixelData ? DCM_NumberOfFrames : DCM_NumberOfFramesInOverlay, frames, 0, OFFalse)
            .bad()) {
        frames = "1";
    }
    const ImagePixelAttributes attributes(*item);
    const auto columns = attributes.number(isPixelData ? DCM_Columns : DCM_OverlayColumns);
    const auto rows = attributes.number(isPixelData ? DCM_Rows : DCM_OverlayRows);
    Words value;
    if (!columns || !rows || item->findAndGetUint16Array(tag, value.data, &value.count, OFFalse).bad() ||
        value.data == nullptr || value.count == 0) {
        return;
    }
    const Shape shape{{*rows, *columns}, static_cast<unsigned long>(std::stoi(frames))};
    // The text of a number is none of these names, so that an overlay that is named by its number is read as pixels.
    const std::string name = numericName ? std::string(tag.toString()) : tagName;
    ArrayList arrays;
    if (name == "OverlayData" ? saveOverlayData(arrays, value, shape) : savePixels(arrays, attributes, value, shape)) {
        arrays.setOwnedByLibrary(false);
        GTU::Argument<VArgumentType::DataStore>::addDataStoreNode(list.getInternal(), name, arrays.getInternal());
    }
}

} // namespace radvex
