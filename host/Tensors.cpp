#include <cstring>

#include "host/HandleTable.h"

namespace velmora {

namespace {

constexpr auto kTensorKind = ObjectKind::tensor;

template <typename T>
T* dataOfType(VTensor tensor, vint type) {
    return fieldOf(kTensorKind, tensor, &VelmoraTensor::type) == type ? static_cast<T*>(tensor->data.get()) : nullptr;
}

int tensorNew(vint type, vint rank, const vint* dimensions, VTensor* tensor) {
    if (ledger().isRefused(Operation::VTensor_new)) {
        return VELMORA_MEMORY_ERROR;
    }
    if (tensorElementSize(type) == 0) {
        return VELMORA_TYPE_ERROR;
    }
    if (rank < 1 || dimensions == nullptr) {
        return VELMORA_RANK_ERROR;
    }
    return handOut(newTensor(type, {dimensions, dimensions + rank}, Owner::library), tensor);
}

int tensorClone(VTensor tensor, VTensor* copy) {
    return ledger().isRefused(Operation::VTensor_clone) ? VELMORA_MEMORY_ERROR
                                                        : handOut(cloneTensor(tensor, Owner::library), copy);
}

const vint* tensorDimensions(VTensor tensor) {
    return ledger().isAlive(kTensorKind, tensor) ? tensor->dimensions.data() : nullptr;
}

vint tensorRank(VTensor tensor) {
    return ledger().isAlive(kTensorKind, tensor) ? static_cast<vint>(tensor->dimensions.size()) : 0;
}

} // namespace

std::size_t tensorElementSize(vint type) {
    switch (type) {
    case VTensor_Integer: return sizeof(vint);
    case VTensor_Real: return sizeof(vreal);
    case VTensor_Complex: return sizeof(vcomplex);
    default: return 0;
    }
}

VTensor newTensor(vint type, std::vector<vint> dimensions, Owner owner) {
    const std::size_t size = tensorElementSize(type);
    auto tensor = std::make_unique<VelmoraTensor>();
    if (size == 0 || dimensions.empty() || !flattenedLength(dimensions, tensor->length)) {
        return nullptr;
    }
    tensor->type = type;
    tensor->dimensions = std::move(dimensions);
    tensor->data = newElements(tensor->length, size);
    return registerObject(std::move(tensor), kTensorKind, owner);
}

VTensor cloneTensor(VTensor tensor, Owner owner) {
    if (!ledger().isAlive(kTensorKind, tensor)) {
        return nullptr;
    }
    const VTensor copy = newTensor(tensor->type, tensor->dimensions, owner);
    if (copy != nullptr) {
        std::memcpy(copy->data.get(), tensor->data.get(),
                    static_cast<std::size_t>(tensor->length) * tensorElementSize(tensor->type));
    }
    return copy;
}

void destroyTensor(VTensor tensor) { destroyObject(kTensorKind, tensor); }

void fillTensorFunctions(VelmoraLibraryRecord& table) {
    table.VTensor_new = tensorNew;
    table.VTensor_free = [](VTensor tensor) { freeByLibrary(kTensorKind, tensor); };
    table.VTensor_clone = tensorClone;
    table.VTensor_shareCount = [](VTensor tensor) { return fieldOf(kTensorKind, tensor, &VelmoraTensor::shares); };
    table.VTensor_disown = [](VTensor tensor) { disownByLibrary(kTensorKind, tensor); };
    table.VTensor_getRank = tensorRank;
    table.VTensor_getDimensions = tensorDimensions;
    table.VTensor_getType = [](VTensor tensor) { return fieldOf(kTensorKind, tensor, &VelmoraTensor::type); };
    table.VTensor_getFlattenedLength = [](VTensor tensor) {
        return fieldOf(kTensorKind, tensor, &VelmoraTensor::length);
    };
    table.VTensor_getIntegerData = [](VTensor tensor) { return dataOfType<vint>(tensor, VTensor_Integer); };
    table.VTensor_getRealData = [](VTensor tensor) { return dataOfType<vreal>(tensor, VTensor_Real); };
    table.VTensor_getComplexData = [](VTensor tensor) { return dataOfType<vcomplex>(tensor, VTensor_Complex); };
}

} // namespace velmora
