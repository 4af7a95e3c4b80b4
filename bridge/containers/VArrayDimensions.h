#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace GTU {

/// Dimensions of an array, slowest first, with the stride of each in elements.
class VArrayDimensions {
  public:
    /// From a range of `vint`: every entry must be positive, except that the last may be 0.
    /// @throws GantryError  DimensionsError for an empty range, a bad entry, or a product beyond `vint`
    template <typename Iterator>
    VArrayDimensions(Iterator first, Iterator last) : dims(first, last) {
        checkRange();
        fillOffsets();
    }

    /// From a list. Its values are not checked.
    /// @throws GantryError  DimensionsError for an empty list, or a product beyond `vint`
    VArrayDimensions(std::initializer_list<vint> list);

    vint getFlattenedLength() const { return flattenedLength; }
    const std::vector<vint>& getDimensions() const { return dims; }
    const std::vector<vint>& getOffsets() const { return offsets; }
    std::size_t getRank() const { return dims.size(); }

    /// Index of an element in the flattened array. No checks.
    vint getIndex(const std::vector<vint>& coordinates) const;

    /// @throws GantryError  VArrayElementIndexError (the index) outside the array
    vint getIndexChecked(vint index) const;
    /// @throws GantryError  VArrayDimensionIndexError (number of coordinates) for more coordinates than dimensions,
    ///                      VArrayElementIndexError (the coordinate) outside a dimension
    vint getIndexChecked(const std::vector<vint>& coordinates) const;

    /// @throws GantryError  DimensionsError for an empty list
    static void checkContainerSize(std::initializer_list<vint> list);

    /// @throws GantryError  VArrayElementIndexError (the index)
    [[noreturn]] static void indexError(vint index);

  private:
    void checkRange() const;
    vint totalLengthFromDims() const;
    void fillOffsets();

    vint flattenedLength = 0;
    std::vector<vint> dims;
    std::vector<vint> offsets{};
};

} // namespace GTU
