#pragma once

#include "bridge/containers/VArray.h"
#include "bridge/containers/VContainerBase.h"

namespace GTU {

/// The host's codes for the element types of images. `signed char` stands for a bit image: one byte, 0 or 1, for each
/// element.
template <typename T>
inline constexpr vint imageTypeCode = -1;
template <>
inline constexpr vint imageTypeCode<signed char> = VImage_Bit;
template <>
inline constexpr vint imageTypeCode<unsigned char> = VImage_U8;
template <>
inline constexpr vint imageTypeCode<unsigned short> = VImage_U16;
template <>
inline constexpr vint imageTypeCode<float> = VImage_F32;
template <>
inline constexpr vint imageTypeCode<double> = VImage_F64;

/// What every image of the host can tell, whatever its element type.
class ImageInterface {
  public:
    virtual ~ImageInterface() = default;
    virtual vint colorspace() const { return api()->VImage_getColorSpace(imageHandle()); }
    virtual vint rows() const { return api()->VImage_getRowCount(imageHandle()); }
    virtual vint columns() const { return api()->VImage_getColumnCount(imageHandle()); }
    /// 1 for a 2D image.
    virtual vint slices() const { return api()->VImage_getSliceCount(imageHandle()); }
    virtual vint channels() const { return api()->VImage_getChannels(imageHandle()); }
    virtual bool alphaChannelQ() const { return api()->VImage_alphaChannelQ(imageHandle()) != 0; }
    virtual bool interleavedQ() const { return api()->VImage_interleavedQ(imageHandle()) != 0; }
    virtual bool is3D() const { return getRank() == 3; }
    virtual vint getRank() const { return api()->VImage_getRank(imageHandle()); }
    virtual vint getFlattenedLength() const { return api()->VImage_getFlattenedLength(imageHandle()); }
    virtual vint type() const { return api()->VImage_getDataType(imageHandle()); }
    virtual void* rawData() const { return api()->VImage_getRawData(imageHandle()); }

  private:
    static const VelmoraImageFunctions* api() { return LibraryData::ImageAPI(); }
    virtual VImage imageHandle() const = 0;
};

/// A borrowed image of any element type; never frees it.
class ImageView : public ImageInterface {
  public:
    explicit ImageView(VImage image) : handle(image) {}

  private:
    VImage imageHandle() const override { return handle; }
    VImage handle;
};

/// Dimensions of an image, slowest first: slices (3D only), rows, columns. Several channels are one more dimension, the
/// last if they are interleaved and the first otherwise.
/// @throws GantryError  DimensionsError for a null handle, ImageSizeError for an image without channels
VArrayDimensions dimensionsFromGenericImage(VImage image);

template <typename P>
class VContainer<VArgumentType::Image, P> : public ImageInterface, public VContainerBase<VArgumentType::Image, P> {
    using Base = VContainerBase<VArgumentType::Image, P>;

  public:
    VContainer(VImage image, bool owned) : Base(image, owned) {}

    /// A new image: 3D for `slices` above 0, else 2D.
    /// @throws GantryError  ImageNewError
    VContainer(vint slices, vint width, vint height, vint channels, vint dataType, vint colorSpace, bool interleaved)
        : Base(nullptr, true) {
        const auto* api = LibraryData::ImageAPI();
        const int error =
            slices != 0
                ? api->VImage_new3D(slices, width, height, channels, dataType, colorSpace, interleaved, &this->handle)
                : api->VImage_new2D(width, height, channels, dataType, colorSpace, interleaved, &this->handle);
        if (error != 0) {
            this->handle = nullptr;
            ErrorManager::throwException(ErrorName::ImageNewError);
        }
    }
    VContainer(VContainer&&) noexcept = default;
    VContainer& operator=(VContainer&&) = default;
    ~VContainer() override { this->cleanup(); }

  private:
    VImage imageHandle() const override { return this->handle; }

    VImage cloneImpl() const override {
        return checkedClone(LibraryData::ImageAPI()->VImage_clone, this->handle, ErrorName::ImageCloneError);
    }
    void freeImpl() override { LibraryData::ImageAPI()->VImage_free(this->handle); }
    void disownImpl() override { LibraryData::ImageAPI()->VImage_disown(this->handle); }
    vint shareCountImpl() const override { return LibraryData::ImageAPI()->VImage_shareCount(this->handle); }
    void passImpl(VArgument res) const override { *res.image = this->handle; }
};

/// Access to an image's elements in the host's memory.
template <typename T>
class TypedImage : public VArray<T> {
  public:
    using VArray<T>::VArray;
    T* getData() const override { return static_cast<T*>(LibraryData::ImageAPI()->VImage_getRawData(getInternal())); }

  private:
    virtual VImage getInternal() const = 0;
};

/// An image of the host with elements of type `T`.
template <typename T, typename P>
class Image : public TypedImage<T>, public VContainer<VArgumentType::Image, P> {
    using Generic = VContainer<VArgumentType::Image, P>;

  public:
    /// A new image that the library owns. @throws GantryError  ImageNewError, ImageSizeError, ImageTypeError
    Image(vint slices, vint width, vint height, vint channels, vint colorSpace, bool interleaved)
        : Image(Generic(slices, width, height, channels, imageTypeCode<T>, colorSpace, interleaved)) {}

    /// An image that the host passed in. @throws GantryError  CreateFromNullError, ImageSizeError, ImageTypeError
    explicit Image(VImage image) : Image(Generic(checkedNotNull(image), false)) {}

    VImage getInternal() const override { return this->handle; }

  private:
    explicit Image(Generic&& generic)
        : TypedImage<T>(dimensionsFromGenericImage(generic.rawHandle())), Generic(std::move(generic)) {
        if (this->type() != imageTypeCode<T>) {
            ErrorManager::throwException(ErrorName::ImageTypeError);
        }
    }
};

} // namespace GTU
