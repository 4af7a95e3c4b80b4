#include "dicom/pixels/ImageOptions.h"

namespace radvex {

namespace {

/// Checks the element type, then the shape: a wrong type is reported first.
void checkScaling(VTensor handle) {
    if (handle == nullptr) {
        GTU::ErrorManager::throwException(GTU::ErrorName::CreateFromNullError);
    }
    const GTU::VContainer<GTU::VArgumentType::Tensor, GTU::Passing::Automatic> tensor(handle, false);
    if (tensor.type() != VTensor_Real) {
        GTU::ErrorManager::throwException(GTU::ErrorName::TensorTypeError);
    }
    if (tensor.getRank() != 1 || tensor.getDimensions()[0] != 2) {
        GTU::ErrorManager::throwException("InvalidPixelScaling");
    }
}

} // namespace

int getScale(const GTU::VArgumentManager& manager, unsigned int index, ImageReadOptions& options) {
    checkScaling(manager.getVTensor(index));
    const GTU::Tensor<double, GTU::Passing::Automatic> scaling(manager.getVTensor(index));
    const double method = scaling[0];
    if (method >= 1.0) {
        options.windowWidth = method;
        options.windowCenter = scaling[1];
        return kExplicitWindow;
    }
    if (method < 0.5 && method >= -0.5) {
        return kMinMaxWindow;
    }
    if (method < -0.5 && method >= -1.5) {
        return kTrimmedMinMaxWindow;
    }
    if (method < -1.5 && method >= -2.5) {
        return kCommonWindow;
    }
    return kNoWindow; // from 0.5 to 1, below -2.5, and not a number
}

} // namespace radvex
