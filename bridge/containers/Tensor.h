#pragma once

#include <algorithm>
#include <iterator>
#include <type_traits>

#include "bridge/containers/VArray.h"
#include "bridge/containers/VContainerBase.h"

namespace GTU {

/// The host's codes for the element types of tensors.
template <typename T>
inline constexpr vint tensorTypeCode = -1;
template <>
inline constexpr vint tensorTypeCode<vint> = VTensor_Integer;
template <>
inline constexpr vint tensorTypeCode<double> = VTensor_Real;

using TensorInterface = ArrayInterface;

/// The element buffer of a tensor. @throws GantryError  TensorTypeError for an unknown element type
inline void* tensorRawData(VTensor tensor) {
    const VelmoraLibraryData api = LibraryData::API();
    switch (api->VTensor_getType(tensor)) {
    case VTensor_Integer: return api->VTensor_getIntegerData(tensor);
    case VTensor_Real: return api->VTensor_getRealData(tensor);
    case VTensor_Complex: return api->VTensor_getComplexData(tensor);
    default: ErrorManager::throwException(ErrorName::TensorTypeError);
    }
}

template <typename P>
class VContainer<VArgumentType::Tensor, P> : public TensorInterface, public VContainerBase<VArgumentType::Tensor, P> {
    using Base = VContainerBase<VArgumentType::Tensor, P>;

  public:
    VContainer(VTensor tensor, bool owned) : Base(tensor, owned) {}

    /// A new tensor. @throws GantryError  TensorNewError
    VContainer(vint dataType, vint rank, const vint* dimensions) : Base(nullptr, true) {
        if (LibraryData::API()->VTensor_new(dataType, rank, dimensions, &this->handle) != 0) {
            this->handle = nullptr;
            ErrorManager::throwException(ErrorName::TensorNewError);
        }
    }
    VContainer(VContainer&&) noexcept = default;
    VContainer& operator=(VContainer&&) = default;
    ~VContainer() override { this->cleanup(); }

    vint getRank() const override { return LibraryData::API()->VTensor_getRank(this->handle); }
    const vint* getDimensions() const override { return LibraryData::API()->VTensor_getDimensions(this->handle); }
    vint getFlattenedLength() const override { return LibraryData::API()->VTensor_getFlattenedLength(this->handle); }
    vint type() const override { return LibraryData::API()->VTensor_getType(this->handle); }
    void* rawData() const override { return tensorRawData(this->handle); }

  private:
    VTensor cloneImpl() const override {
        return checkedClone(LibraryData::API()->VTensor_clone, this->handle, ErrorName::TensorCloneError);
    }
    void freeImpl() override { LibraryData::API()->VTensor_free(this->handle); }
    void disownImpl() override { LibraryData::API()->VTensor_disown(this->handle); }
    vint shareCountImpl() const override { return LibraryData::API()->VTensor_shareCount(this->handle); }
    void passImpl(VArgument res) const override { *res.tensor = this->handle; }
};

/// Access to a tensor's elements in the host's memory.
template <typename T>
class TypedTensor : public VArray<T> {
  public:
    using VArray<T>::VArray;
    T* getData() const override { return static_cast<T*>(tensorRawData(getInternal())); }

  private:
    virtual VTensor getInternal() const = 0;
};

/// A tensor of the host with elements of type `T`.
template <typename T, typename P>
class Tensor : public TypedTensor<T>, public VContainer<VArgumentType::Tensor, P> {
    using Generic = VContainer<VArgumentType::Tensor, P>;

  public:
    /// A tensor that the host passed to the library, or shares with it.
    /// @throws GantryError  CreateFromNullError, DimensionsError, TensorTypeError
    explicit Tensor(VTensor tensor) : Tensor(Generic(checkedNotNull(tensor), std::is_same_v<P, Passing::Shared>)) {}

    /// A new rank-1 tensor with the elements of a range, each converted to `T`. @throws GantryError  TensorNewError
    template <typename Iterator>
    Tensor(Iterator first, Iterator last) : Tensor(fromRange(first, last)) {}

    VTensor getInternal() const override { return this->handle; }

  private:
    explicit Tensor(Generic&& generic)
        : TypedTensor<T>(VArrayDimensions(generic.getDimensions(), generic.getDimensions() + generic.getRank())),
          Generic(std::move(generic)) {
        if (this->type() != tensorTypeCode<T>) {
            ErrorManager::throwException(ErrorName::TensorTypeError);
        }
    }

    template <typename Iterator>
    static Generic fromRange(Iterator first, Iterator last) {
        const auto length = static_cast<vint>(std::distance(first, last));
        Generic generic(tensorTypeCode<T>, 1, &length);
        if (generic.getFlattenedLength() != length) {
            ErrorManager::throwException(ErrorName::TensorNewError,
                                         "Length of data range does not match specified dimensions");
        }
        std::copy(first, last, static_cast<T*>(generic.rawData()));
        return generic;
    }
};

} // namespace GTU
