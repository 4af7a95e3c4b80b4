#pragma once

#include "bridge/containers/VArrayDimensions.h"

namespace GTU {

/// Element access over a buffer that someone else owns.
template <typename T>
class IterableContainer {
  public:
    virtual ~IterableContainer() = default;
    /// The host's buffer, in place.
    virtual T* getData() const = 0;
    virtual vint getSize() const = 0;

    T* begin() const { return getData(); }
    T* end() const { return getData() + getSize(); }
    T& operator[](vint index) const { return getData()[index]; }
};

/// An array of the host seen as elements of type `T` in dimensions.
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
