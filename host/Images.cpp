#include <cstring>

#include "host/HandleTable.h"

namespace velmora {

namespace {

constexpr auto kImageKind = ObjectKind::image;

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

int imageClone(VImage image, VImage* copy) {
    return ledger().isRefused(Operation::VImage_clone) ? VELMORA_MEMORY_ERROR
                                                       : handOut(cloneImage(image, Owner::library), copy);
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
    return registerObject(std::move(image), kImageKind, owner);
}

VImage cloneImage(VImage image, Owner owner) {
    if (!ledger().isAlive(kImageKind, image)) {
        return nullptr;
    }
    const VImage copy = newImage(image->rank, image->slices, image->rows, image->columns, image->channels, image->type,
                                 image->colorSpace, image->interleaved, owner);
    if (copy != nullptr) {
        std::memcpy(copy->data.get(), image->data.get(),
                    static_cast<std::size_t>(image->length) * imageElementSize(image->type));
    }
    return copy;
}

void destroyImage(VImage image) { destroyObject(kImageKind, image); }

const VelmoraImageFunctions kImageFunctions = {
    .VImage_new2D = imageNew2D,
    .VImage_new3D = imageNew3D,
    .VImage_clone = imageClone,
    .VImage_free = [](VImage image) { freeByLibrary(kImageKind, image); },
    .VImage_disown = [](VImage image) { disownByLibrary(kImageKind, image); },
    .VImage_shareCount = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::shares); },
    // -1 and not 0, which is the code of a bit image
    .VImage_getDataType =
        [](VImage image) { return ledger().isAlive(kImageKind, image) ? image->type : static_cast<vint>(-1); },
    .VImage_getRowCount = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::rows); },
    .VImage_getColumnCount = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::columns); },
    .VImage_getSliceCount = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::slices); },
    .VImage_getRank = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::rank); },
    .VImage_getChannels = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::channels); },
    .VImage_alphaChannelQ = [](VImage image) -> vbool {
        const vint channels = fieldOf(kImageKind, image, &VelmoraImage::channels);
        return channels == 2 || channels == 4 ? 1 : 0;
    },
    .VImage_interleavedQ = [](VImage image) -> vbool { return fieldOf(kImageKind, image, &VelmoraImage::interleaved); },
    .VImage_getColorSpace = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::colorSpace); },
    .VImage_getFlattenedLength = [](VImage image) { return fieldOf(kImageKind, image, &VelmoraImage::length); },
    .VImage_getRawData = [](VImage image) -> void* {
        return ledger().isAlive(kImageKind, image) ? image->data.get() : nullptr;
    },
};

} // namespace velmora
