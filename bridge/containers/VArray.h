#pragma once

#include "bridge/containers/VArrayDimensions.h"

namespace GTU {

/// What every tensor and every numeric array can tell, whatever its element type.
class ArrayInterface {
  public:
    virtual ~ArrayInterface() = default;
    virtual vint getRank() const = 0;
    virtual const vint* getDimensions() const = 0;
    virtual vint getFlattenedLength() const = 0;
    virtual vint type() const = 0;
    virtual void* rawData() const = 0;
};

/// Access to the elements of a buffer that the host owns.
template <typename T>
class IterableContainer {
  public:
    virtual ~IterableContainer() = default;
    /// The host's buffer itself, no copy.
    virtual T* getData() const = 0;
    virtual vint getSize() const = 0;

    T* begin() const { return getData(); }
    T* end() const { return getData() + getSize(); }
    T& operator[](vint index) const { return getData()[index]; }
};

/// An array of the host with elements of type `T`.
template <typename T>
class VArray : public IterableContainer<T> {
  public:
    explicit VArray(VArrayDimensions dimensions) : dims(std::move(dimensions)) {}

    vint getSize() const override { return dims.getFlattenedLength(); }
    const VArrayDimensions& dimensions() const { return dims; }

    /// @throws GantryError  VArrayElementIndexError
    T& at(vint index) const { return this->getData()[dims.getIndexChecked(index)]; }

  private:
    VArrayDimensions dims;
};

} // namespace GTU
