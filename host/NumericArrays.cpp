#include <cmath>
#include <cstdint>
#include <limits>

#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

/// Calls `function` with a value of the C++ type that stands for an element type. @return false for an unknown type
template <typename Function>
bool withElementType(vint type, Function function) {
    switch (type) {
    case VNumericArray_S8: function(std::int8_t{}); return true;
    case VNumericArray_U8: function(std::uint8_t{}); return true;
    case VNumericArray_S16: function(std::int16_t{}); return true;
    case VNumericArray_U16: function(std::uint16_t{}); return true;
    case VNumericArray_S32: function(std::int32_t{}); return true;
    case VNumericArray_U32: function(std::uint32_t{}); return true;
    case VNumericArray_S64: function(std::int64_t{}); return true;
    case VNumericArray_U64: function(std::uint64_t{}); return true;
    case VNumericArray_F32: function(float{}); return true;
    case VNumericArray_F64: function(double{}); return true;
    default: return false;
    }
}

/// Clips to the range of `To`; an unsigned integer that becomes a real is divided by the maximum of its type.
template <typename To, typename From>
To clipAndScale(From value) {
    using Limits = std::numeric_limits<To>;
    if constexpr (std::is_floating_point_v<To> && std::is_unsigned_v<From>) {
        return static_cast<To>(static_cast<double>(value) / static_cast<double>(std::numeric_limits<From>::max()));
    } else if constexpr (std::is_same_v<To, float> && std::is_same_v<From, double>) {
        return std::isfinite(value) ? static_cast<To>(std::clamp<From>(value, Limits::lowest(), Limits::max()))
                                    : static_cast<To>(value);
    } else if constexpr (std::is_floating_point_v<To>) {
        return static_cast<To>(value);
    } else if constexpr (std::is_floating_point_v<From>) {
        if (std::isnan(value)) {
            return To{0};
        }
        // The maximum of a 64-bit type has no exact double: compare with the first value beyond it.
        if (static_cast<double>(value) >= std::ldexp(1.0, Limits::digits)) {
            return Limits::max();
        }
        return static_cast<double>(value) <= static_cast<double>(Limits::min()) ? Limits::min()
                                                                                : static_cast<To>(value);
    } else {
        if (std::cmp_less(value, Limits::min())) {
            return Limits::min();
        }
        return std::cmp_greater(value, Limits::max()) ? Limits::max() : static_cast<To>(value);
    }
}

int arrayConvert(VNumericArray* converted, VNumericArray array, vint type, vint method, vreal /*tolerance*/) {
    if (ledger().isRefused(Operation::VNumericArray_convertType)) {
        return VELMORA_MEMORY_ERROR;
    }
    if (!isAlive(array) || method != VConversion_ClipAndScale || numericArrayElementSize(type) == 0) {
        return VELMORA_TYPE_ERROR;
    }
    const VNumericArray result = newNumericArray(type, array->dimensions, Owner::library);
    if (result == nullptr) {
        return VELMORA_MEMORY_ERROR;
    }
    withElementType(array->type, [&](auto from) {
        withElementType(type, [&](auto to) {
            using From = decltype(from);
            using To = decltype(to);
            const auto* source = static_cast<const From*>(array->data.get());
            std::transform(source, source + array->length, static_cast<To*>(result->data.get()),
                           clipAndScale<To, From>);
        });
    });
    *converted = result;
    return VELMORA_NO_ERROR;
}

} // namespace

std::size_t numericArrayElementSize(vint type) {
    std::size_t size = 0;
    withElementType(type, [&](auto element) { size = sizeof(element); });
    return size;
}

VNumericArray newNumericArray(vint type, std::vector<vint> dimensions, Owner owner) {
    return newArray<VelmoraNumericArray>(type, std::move(dimensions), numericArrayElementSize(type), owner);
}

VNumericArray cloneNumericArray(VNumericArray array, Owner owner) {
    if (!isAlive(array)) {
        return nullptr;
    }
    return copyElements(array, newNumericArray(array->type, array->dimensions, owner),
                        numericArrayElementSize(array->type));
}

void destroyNumericArray(VNumericArray array) { destroyObject(array); }

const VelmoraNumericArrayFunctions kNumericArrayFunctions = {
    .VNumericArray_new = newByLibrary<Operation::VNumericArray_new, numericArrayElementSize, newNumericArray>,
    .VNumericArray_free = freeByLibrary,
    .VNumericArray_clone = cloneByLibrary<Operation::VNumericArray_clone, cloneNumericArray>,
    .VNumericArray_disown = disownByLibrary,
    .VNumericArray_shareCount = fieldOf<&VelmoraNumericArray::shares>,
    .VNumericArray_getType = fieldOf<&VelmoraNumericArray::type>,
    .VNumericArray_getRank = rankOf,
    .VNumericArray_getDimensions = dimensionsOf,
    .VNumericArray_getFlattenedLength = fieldOf<&VelmoraNumericArray::length>,
    .VNumericArray_getData = dataOf,
    .VNumericArray_convertType = arrayConvert,
};

} // namespace velmora
