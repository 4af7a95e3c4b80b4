#include "bridge/containers/VArrayDimensions.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "bridge/ErrorManager.h"

namespace GTU {

VArrayDimensions::VArrayDimensions(std::initializer_list<vint> list) : dims(list) {
    checkContainerSize(list);
    fillOffsets();
}

void VArrayDimensions::checkContainerSize(std::initializer_list<vint> list) {
    if (list.size() == 0) {
        ErrorManager::throwException(ErrorName::DimensionsError);
    }
}

void VArrayDimensions::checkRange() const {
    if (dims.empty()) {
        ErrorManager::throwException(ErrorName::DimensionsError);
    }
    const bool isPositive = std::all_of(dims.begin(), dims.end() - 1, [](vint dimension) { return dimension > 0; });
    if (!isPositive || dims.back() < 0) {
        ErrorManager::throwExceptionWithDebugInfo(ErrorName::DimensionsError,
                                                  "Invalid input vector with array dimensions");
    }
}

vint VArrayDimensions::totalLengthFromDims() const {
    if (std::find(dims.begin(), dims.end(), 0) != dims.end()) {
        return 0; // even if the other dimensions overflow
    }
    std::int64_t total = 1; // wide enough for the product of two `vint`
    for (const vint dimension : dims) {
        total *= dimension;
        if (!std::in_range<vint>(total)) {
            ErrorManager::throwExceptionWithDebugInfo(ErrorName::DimensionsError,
                                                      "The product of the dimensions exceeds the host's integer");
        }
    }
    return static_cast<vint>(total);
}

void VArrayDimensions::fillOffsets() {
    flattenedLength = totalLengthFromDims();
    offsets.assign(dims.size(), 1);
    for (std::size_t index = dims.size() - 1; index-- > 0;) {
        // The length did not overflow, so this overflows only for an array with a dimension of 0.
        if (__builtin_mul_overflow(offsets[index + 1], dims[index + 1], &offsets[index])) {
            ErrorManager::throwException(ErrorName::DimensionsError);
        }
    }
}

vint VArrayDimensions::getIndex(const std::vector<vint>& coordinates) const {
    vint index = 0;
    for (std::size_t dimension = 0; dimension < coordinates.size(); ++dimension) {
        index += coordinates[dimension] * offsets[dimension];
    }
    return index;
}

vint VArrayDimensions::getIndexChecked(vint index) const {
    if (index < 0 || index >= flattenedLength) {
        indexError(index);
    }
    return index;
}

vint VArrayDimensions::getIndexChecked(const std::vector<vint>& coordinates) const {
    if (coordinates.size() > dims.size()) {
        ErrorManager::throwException(ErrorName::VArrayDimensionIndexError, static_cast<long long>(coordinates.size()));
    }
    for (std::size_t dimension = 0; dimension < coordinates.size(); ++dimension) {
        if (coordinates[dimension] < 0 || coordinates[dimension] >= dims[dimension]) {
            indexError(coordinates[dimension]);
        }
    }
    return getIndex(coordinates);
}

void VArrayDimensions::indexError(vint index) {
    ErrorManager::throwException(ErrorName::VArrayElementIndexError, index);
}

} // namespace GTU
