#include "ImageOptions.h"

namespace radvex {

int getScale(const GTU::VArgumentManager& manager, unsigned int index, ImageReadOptions& options) {
    const GTU::Tensor<double, GTU::Passing::Automatic> scaling(manager.getVTensor(index));
    if (scaling.dimensions().getDimensions() != std::vector<vint>{2}) {
        GTU::ErrorManager::throwException("InvalidPixelScaling");
    }
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
    return kNoWindow; // 0.5 up to 1, below -2.5, and what is no number
}

} // namespace radvex
