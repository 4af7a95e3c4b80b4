#pragma once

#include <initializer_list>
#include <limits>

#include "bridge/ErrorManager.h"

namespace radvex {

/// Product of dimensions that are not negative.
/// @throws GantryError  DimensionsError when it leaves the host's integer
inline vint checkedProduct(std::initializer_list<long long> dimensions) {
    long long product = 1;
    for (const long long dimension : dimensions) {
        if (__builtin_mul_overflow(product, dimension, &product) || product > std::numeric_limits<vint>::max()) {
            GTU::ErrorManager::throwException(GTU::ErrorName::DimensionsError);
        }
    }
    return static_cast<vint>(product);
}

} // namespace radvex
