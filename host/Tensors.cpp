#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

template <typename T, vint type>
T* elementsOf(VTensor tensor) {
    return fieldOf<&VelmoraTensor::type>(tensor) == type ? static_cast<T*>(tensor->data.get()) : nullptr;
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
    return newArray<VelmoraTensor>(type, std::move(dimensions), tensorElementSize(type), owner);
}

VTensor cloneTensor(VTensor tensor, Owner owner) {
    if (!isAlive(tensor)) {
        return nullptr;
    }
    return copyElements(tensor, newTensor(tensor->type, tensor->dimensions, owner), tensorElementSize(tensor->type));
}

void destroyTensor(VTensor tensor) { destroyObject(tensor); }

void fillTensorFunctions(VelmoraLibraryRecord& table) {
    table.VTensor_new = newByLibrary<Operation::VTensor_new, tensorElementSize, newTensor>;
    table.VTensor_free = freeByLibrary;
    table.VTensor_clone = cloneByLibrary<Operation::VTensor_clone, cloneTensor>;
    table.VTensor_shareCount = fieldOf<&VelmoraTensor::shares>;
    table.VTensor_disown = disownByLibrary;
    table.VTensor_getRank = rankOf;
    table.VTensor_getDimensions = dimensionsOf;
    table.VTensor_getType = fieldOf<&VelmoraTensor::type>;
    table.VTensor_getFlattenedLength = fieldOf<&VelmoraTensor::length>;
    table.VTensor_getIntegerData = elementsOf<vint, VTensor_Integer>;
    table.VTensor_getRealData = elementsOf<vreal, VTensor_Real>;
    table.VTensor_getComplexData = elementsOf<vcomplex, VTensor_Complex>;
}

} // namespace velmora
