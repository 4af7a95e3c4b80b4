#include "bridge/containers/Tensor.h"

namespace GTU {

void* tensorRawData(VTensor tensor) {
    const VelmoraLibraryData api = LibraryData::API();
    switch (api->VTensor_getType(tensor)) {
    case VTensor_Integer: return api->VTensor_getIntegerData(tensor);
    case VTensor_Real: return api->VTensor_getRealData(tensor);
    case VTensor_Complex: return api->VTensor_getComplexData(tensor);
    default: ErrorManager::throwException(ErrorName::TensorTypeError);
    }
}

} // namespace GTU
