#pragma once

#include <cstring>

#include "bridge/containers/VArray.h"
#include "bridge/containers/VContainerBase.h"

namespace GTU {

/// The host's codes for the element types of numeric arrays.
template <typename T>
inline constexpr vint numericArrayTypeCode = -1;
template <>
inline constexpr vint numericArrayTypeCode<signed char> = VNumericArray_S8;
template <>
inline constexpr vint numericArrayTypeCode<unsigned char> = VNumericArray_U8;
template <>
inline constexpr vint numericArrayTypeCode<short> = VNumericArray_S16;
template <>
inline constexpr vint numericArrayTypeCode<unsigned short> = VNumericArray_U16;
template <>
inline constexpr vint numericArrayTypeCode<int> = VNumericArray_S32;
template <>
inline constexpr vint numericArrayTypeCode<unsigned int> = VNumericArray_U32;

using NumericArrayInterface = ArrayInterface;

template <typename P>
class VContainer<VArgumentType::NumericArray, P> : public NumericArrayInterface,
                                                   public VContainerBase<VArgumentType::NumericArray, P> {
    using Base = VContainerBase<VArgumentType::NumericArray, P>;

  public:
    VContainer(VNumericArray array, bool owned) : Base(array, owned) {}

    /// A new array, zero-filled. @throws GantryError  NumericArrayNewError
    VContainer(vint dataType, vint rank, const vint* dimensions) : Base(nullptr, true) {
        if (LibraryData::NumericArrayAPI()->VNumericArray_new(dataType, rank, dimensions, &this->handle) != 0) {
            this->handle = nullptr;
            ErrorManager::throwException(ErrorName::NumericArrayNewError);
        }
    }
    VContainer(VContainer&&) noexcept = default;
    VContainer& operator=(VContainer&&) = default;
    ~VContainer() override { this->cleanup(); }

    vint getRank() const override { return api()->VNumericArray_getRank(this->handle); }
    const vint* getDimensions() const override { return api()->VNumericArray_getDimensions(this->handle); }
    vint getFlattenedLength() const override { return api()->VNumericArray_getFlattenedLength(this->handle); }
    vint type() const override { return api()->VNumericArray_getType(this->handle); }
    void* rawData() const override { return api()->VNumericArray_getData(this->handle); }

    /// A new array of another element type, made by the host. @param method  VConversion_...
    /// @throws GantryError  NumericArrayConversionError (text)
    VContainer<VArgumentType::NumericArray, Passing::Manual> convertedTo(vint dataType, vint method) const {
        VNumericArray converted = nullptr;
        if (api()->VNumericArray_convertType(&converted, this->handle, dataType, method, 0.0) != 0) {
            ErrorManager::throwException(ErrorName::NumericArrayConversionError,
                                         "Conversion to type " + std::to_string(dataType) + " failed.");
        }
        return {converted, true};
    }

  private:
    static const VelmoraNumericArrayFunctions* api() { return LibraryData::NumericArrayAPI(); }

    VNumericArray cloneImpl() const override {
        return checkedClone(api()->VNumericArray_clone, this->handle, ErrorName::NumericArrayCloneError);
    }
    void freeImpl() override { api()->VNumericArray_free(this->handle); }
    void disownImpl() override { api()->VNumericArray_disown(this->handle); }
    vint shareCountImpl() const override { return api()->VNumericArray_shareCount(this->handle); }
    void passImpl(VArgument res) const override { *res.numericArray = this->handle; }
};

/// Access to a numeric array's elements in the host's memory.
template <typename T>
class TypedNumericArray : public VArray<T> {
  public:
    using VArray<T>::VArray;
    T* getData() const override {
        return static_cast<T*>(LibraryData::NumericArrayAPI()->VNumericArray_getData(getInternal()));
    }

  private:
    virtual VNumericArray getInternal() const = 0;
};

/// A numeric array of the host with elements of type `T`.
template <typename T, typename P>
class NumericArray : public TypedNumericArray<T>, public VContainer<VArgumentType::NumericArray, P> {
    using Generic = VContainer<VArgumentType::NumericArray, P>;

  public:
    /// A new array, zero-filled. @throws GantryError  NumericArrayNewError
    explicit NumericArray(const VArrayDimensions& dimensions)
        : TypedNumericArray<T>(dimensions),
          Generic(numericArrayTypeCode<T>, static_cast<vint>(dimensions.getRank()), dimensions.getDimensions().data()) {
    }

    /// A new rank-1 array with the elements of a range. @throws GantryError  NumericArrayNewError
    NumericArray(const T* first, const T* last) : NumericArray(VArrayDimensions{static_cast<vint>(last - first)}) {
        if (this->getFlattenedLength() != last - first) {
            ErrorManager::throwException(ErrorName::NumericArrayNewError,
                                         "Length of data range does not match specified dimensions");
        }
        if (first != last) {
            std::memmove(this->getData(), first, static_cast<std::size_t>(last - first) * sizeof(T));
        }
    }

    VNumericArray getInternal() const override { return this->handle; }
};

} // namespace GTU
