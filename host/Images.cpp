#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

int imageNew(Operation operation, vint rank, vint slices, vint width, vint height, vint channels, vint type,
             vint colorSpace, vbool interleaved, VImage* image) {
    if (ledger().isRefused(operation)) {
        return VELMORA_MEMORY_ERROR;
    }
    if (imageElementSize(type) == 0) {
        return VELMORA_TYPE_ERROR;
    }
    if (slices < 1 || width < 1 || height < 1 || channels < 1) {
        return VELMORA_DIMENSIONS_ERROR;
    }
    return handOut(newImage(rank, slices, height, width, channels, type, colorSpace, interleaved != 0, Owner::library),
                   image);
}

int imageNew2D(vint width, vint height, vint channels, vint type, vint colorSpace, vbool interleaved, VImage* image) {
    return imageNew(Operation::VImage_new2D, 2, 1, width, height, channels, type, colorSpace, interleaved, image);
}

int imageNew3D(vint slices, vint width, vint height, vint channels, vint type, vint colorSpace, vbool interleaved,
               VImage* image) {
    return imageNew(Operation::VImage_new3D, 3, slices, width, height, channels, type, colorSpace, interleaved, image);
}

} // namespace

std::size_t imageElementSize(vint type) {
    switch (type) {
    case VImage_Bit:
    case VImage_U8: return 1;
    case VImage_U16: return 2;
    case VImage_F32: return sizeof(float);
    case VImage_F64: return sizeof(double);
    default: return 0;
    }
}

VImage newImage(vint rank, vint slices, vint rows, vint columns, vint channels, vint type, vint colorSpace,
                bool interleaved, Owner owner) {
    auto image = std::make_unique<VelmoraImage>();
    const std::size_t size = imageElementSize(type);
    if (size == 0 || (rank != 2 && rank != 3) || !flattenedLength({slices, rows, columns, channels}, image->length)) {
        return nullptr;
    }
    image->type = type;
    image->rank = rank;
    image->slices = rank == 3 ? slices : 1;
    image->rows = rows;
    image->columns = columns;
    image->channels = channels;
    image->colorSpace = colorSpace;
    image->interleaved = interleaved;
    image->data = newElements(image->length, size);
    return registerObject(std::move(image), owner);
}

VImage cloneImage(VImage image, Owner owner) {
    if (!isAlive(image)) {
        return nullptr;
    }
    const VImage copy = newImage(image->rank, image->slices, image->rows, image->columns, image->channels, image->type,
                                 image->colorSpace, image->interleaved, owner);
    return copyElements(image, copy, imageElementSize(image->type));
}

void destroyImage(VImage image) { destroyObject(image); }

const VelmoraImageFunctions kImageFunctions = {
    .VImage_new2D = imageNew2D,
    .VImage_new3D = imageNew3D,
    .VImage_clone = cloneByLibrary<Operation::VImage_clone, cloneImage>,
    .VImage_free = freeByLibrary,
    .VImage_disown = disownByLibrary,
    .VImage_shareCount = fieldOf<&VelmoraImage::shares>,
    // No image has type -1; 0 is the code of a bit image.
    .VImage_getDataType = [](VImage image) { return isAlive(image) ? image->type : static_cast<vint>(-1); },
    .VImage_getRowCount = fieldOf<&VelmoraImage::rows>,
    .VImage_getColumnCount = fieldOf<&VelmoraImage::columns>,
    .VImage_getSliceCount = fieldOf<&VelmoraImage::slices>,
    .VImage_getRank = fieldOf<&VelmoraImage::rank>,
    .VImage_getChannels = fieldOf<&VelmoraImage::channels>,
    .VImage_alphaChannelQ = [](VImage image) -> vbool {
        const vint channels = fieldOf<&VelmoraImage::channels>(image);
        return channels == 2 || channels == 4 ? 1 : 0;
    },
    .VImage_interleavedQ = [](VImage image) -> vbool { return fieldOf<&VelmoraImage::interleaved>(image) ? 1 : 0; },
    .VImage_getColorSpace = fieldOf<&VelmoraImage::colorSpace>,
    .VImage_getFlattenedLength = fieldOf<&VelmoraImage::length>,
    .VImage_getRawData = dataOf,
};

} // namespace velmora
