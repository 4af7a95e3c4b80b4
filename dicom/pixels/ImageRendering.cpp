#include "dicom/pixels/ImageRendering.h"

#include <climits>
#include <cstring>
#include <limits>

#include "bridge/ErrorManager.h"

namespace radvex {

namespace {

/// The shape of the host image that an image is rendered into.
struct ImageShape {
    vint slices; ///< 0 for one frame
    vint width;
    vint height;
    vint channels;
    vint colorSpace;
};

ImageShape shapeOf(const Picture& picture) {
    const bool isGrey = picture.image().isMonochrome() != 0;
    const unsigned long frames = picture.frames();
    const vint channels = isGrey ? 1 : 3;
    (void)checkedProduct({static_cast<long long>(frames), static_cast<long long>(picture.height()),
                          static_cast<long long>(picture.width()), channels});
    return {frames > 1 ? static_cast<vint>(frames) : 0, static_cast<vint>(picture.width()),
            static_cast<vint>(picture.height()), channels, isGrey ? VColorSpace_Grey : VColorSpace_RGB};
}

template <typename T>
GTU::Image<T, GTU::Passing::Manual> newImage(const ImageShape& shape, bool interleaved) {
    return {shape.slices, shape.width, shape.height, shape.channels, shape.colorSpace, interleaved};
}

std::size_t samplesOfFrame(const ImageShape& shape) {
    return static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(shape.height) *
           static_cast<std::size_t>(shape.channels);
}

/// Turns integers of 32 bits into reals from 0 to 1, each at its place.
void makeReals(float* values, std::size_t count) {
    constexpr double kMaximum = std::numeric_limits<Uint32>::max();
    for (std::size_t index = 0; index < count; ++index) {
        Uint32 integer = 0;
        std::memcpy(&integer, &values[index], sizeof integer);
        values[index] = static_cast<float>(static_cast<double>(integer) / kMaximum);
    }
}

[[noreturn]] void throwNoPixels() { GTU::ErrorManager::throwException("ImageReadError"); }

} // namespace

vint checkedProduct(std::initializer_list<long long> dimensions) {
    long long product = 1;
    for (const long long dimension : dimensions) {
        if (__builtin_mul_overflow(product, dimension, &product) || product > std::numeric_limits<vint>::max()) {
            GTU::ErrorManager::throwException(GTU::ErrorName::DimensionsError);
        }
    }
    return static_cast<vint>(product);
}

void setScalingWindow(DicomImage& image, const ImageReadOptions& options) {
    int isSet = 0;
    switch (options.scaling) {
    case kTrimmedMinMaxWindow: isSet = image.setMinMaxWindow(1); break;
    case kMinMaxWindow: isSet = image.setMinMaxWindow(0); break;
    case kCommonWindow:
    case kExplicitWindow:
        if (options.windowWidth && options.windowCenter) {
            isSet = image.setWindow(*options.windowCenter, *options.windowWidth);
        }
        break;
    default: return; // DCMTK's default stands
    }
    if (isSet == 0) {
        (void)image.setNoVoiTransformation();
    }
}

void setOverlayVisibility(DicomImage& image, bool show) {
    // Group 0 stands for the planes of the dataset itself.
    (void)(show ? image.showAllOverlays(0) : image.hideAllOverlays(0));
}

vint dicomImageToNumericArrayType(const DicomImage& image) {
    const int bits = image.getDepth();
    if (bits <= 8) {
        return VNumericArray_U8;
    }
    return bits <= 16 ? VNumericArray_U16 : VNumericArray_U32;
}

template <typename T>
GTU::Image<T, GTU::Passing::Manual> getImage(Picture& picture, bool interleaved) {
    constexpr int kBits = sizeof(T) * CHAR_BIT;
    const ImageShape shape = shapeOf(picture);
    auto result = newImage<T>(shape, interleaved);
    const std::size_t frameBytes = picture.frameBytes(kBits);
    if (frameBytes != samplesOfFrame(shape) * sizeof(T)) {
        throwNoPixels(); // DCMTK would write beyond the frame, or leave a part of it unset
    }
    auto* target = reinterpret_cast<unsigned char*>(result.getData());
    for (unsigned long frame = 0; frame < picture.frames(); ++frame) {
        if (!picture.render(target + frame * frameBytes, frameBytes, kBits, frame, !interleaved)) {
            throwNoPixels();
        }
    }
    return result;
}

template GTU::Image<unsigned char, GTU::Passing::Manual> getImage(Picture&, bool);
template GTU::Image<unsigned short, GTU::Passing::Manual> getImage(Picture&, bool);

template <>
GTU::Image<float, GTU::Passing::Manual> getImage<float>(Picture& picture, bool /*interleaved*/) {
    constexpr int kBits = 32;
    const ImageShape shape = shapeOf(picture);
    auto result = newImage<float>(shape, true);
    const std::size_t samples = samplesOfFrame(shape);
    const std::size_t frameBytes = samples * sizeof(Uint32);
    static_assert(sizeof(float) == sizeof(Uint32)); // the integers are rendered where the reals will stand
    if (picture.frameBytes(kBits) != frameBytes) {
        throwNoPixels();
    }
    float* target = result.getData();
    for (unsigned long frame = 0; frame < picture.frames(); ++frame) {
        if (!picture.render(target, frameBytes, kBits, frame, false)) {
            throwNoPixels();
        }
        makeReals(target, samples);
        target += samples;
    }
    return result;
}

} // namespace radvex
