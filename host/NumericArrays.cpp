#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "host/HandleTable.h"

namespace velmora {

namespace {

constexpr auto kArrayKind = ObjectKind::numericArray;

/// Calls `function` with a value of the element type's C++ type; false for a type that the host does not have.
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

/// Clips to the target's range; an unsigned integer that becomes a real is divided by the maximum of its type.
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

int arrayNew(vint type, vint rank, const vint* dimensions, VNumericArray* array) {
    if (ledger().isRefused(Operation::VNumericArray_new)) {
        return VELMORA_MEMORY_ERROR;
    }
    if (numericArrayElementSize(type) == 0) {
        return VELMORA_TYPE_ERROR;
    }
    if (rank < 1 || dimensions == nullptr) {
        return VELMORA_RANK_ERROR;
    }
    return handOut(newNumericArray(type, {dimensions, dimensions + rank}, Owner::library), array);
}

int arrayClone(VNumericArray array, VNumericArray* copy) {
    return ledger().isRefused(Operation::VNumericArray_clone) ? VELMORA_MEMORY_ERROR
                                                              : handOut(cloneNumericArray(array, Owner::library), copy);
}

int arrayConvert(VNumericArray* converted, VNumericArray array, vint type, vint method, vreal /*tolerance*/) {
    if (ledger().isRefused(Operation::VNumericArray_convertType)) {
        return VELMORA_MEMORY_ERROR;
    }
    if (!ledger().isAlive(kArrayKind, array) || method != VConversion_ClipAndScale ||
        numericArrayElementSize(type) == 0) {
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
    const std::size_t size = numericArrayElementSize(type);
    auto array = std::make_unique<VelmoraNumericArray>();
    if (size == 0 || dimensions.empty() || !flattenedLength(dimensions, array->length)) {
        return nullptr;
    }
    array->type = type;
    array->dimensions = std::move(dimensions);
    array->data = newElements(array->length, size);
    return registerObject(std::move(array), kArrayKind, owner);
}

VNumericArray cloneNumericArray(VNumericArray array, Owner owner) {
    if (!ledger().isAlive(kArrayKind, array)) {
        return nullptr;
    }
    const VNumericArray copy = newNumericArray(array->type, array->dimensions, owner);
    if (copy != nullptr) {
        std::memcpy(copy->data.get(), array->data.get(),
                    static_cast<std::size_t>(array->length) * numericArrayElementSize(array->type));
    }
    return copy;
}

void destroyNumericArray(VNumericArray array) { destroyObject(kArrayKind, array); }

const VelmoraNumericArrayFunctions kNumericArrayFunctions = {
    .VNumericArray_new = arrayNew,
    .VNumericArray_free = [](VNumericArray array) { freeByLibrary(kArrayKind, array); },
    .VNumericArray_clone = arrayClone,
    .VNumericArray_disown = [](VNumericArray array) { disownByLibrary(kArrayKind, array); },
    .VNumericArray_shareCount =
        [](VNumericArray array) { return fieldOf(kArrayKind, array, &VelmoraNumericArray::shares); },
    .VNumericArray_getType = [](VNumericArray array) { return fieldOf(kArrayKind, array, &VelmoraNumericArray::type); },
    .VNumericArray_getRank =
        [](VNumericArray array) {
            return ledger().isAlive(kArrayKind, array) ? static_cast<vint>(array->dimensions.size()) : 0;
        },
    .VNumericArray_getDimensions = [](VNumericArray array) -> const vint* {
        return ledger().isAlive(kArrayKind, array) ? array->dimensions.data() : nullptr;
    },
    .VNumericArray_getFlattenedLength =
        [](VNumericArray array) { return fieldOf(kArrayKind, array, &VelmoraNumericArray::length); },
    .VNumericArray_getData = [](VNumericArray array) -> void* {
        return ledger().isAlive(kArrayKind, array) ? array->data.get() : nullptr;
    },
    .VNumericArray_convertType = arrayConvert,
};

} // namespace velmora
