#include "bridge/containers/Image.h"

namespace GTU {

VArrayDimensions dimensionsFromGenericImage(VImage image) {
    std::vector<vint> dims;
    if (image != nullptr) {
        const ImageView view(image);
        const vint channels = view.channels();
        const vint expectedRank = view.getRank() + (channels != 1 ? 1 : 0);
        if (view.is3D()) {
            dims.push_back(view.slices());
        }
        dims.push_back(view.rows());
        dims.push_back(view.columns());
        if (channels > 1) {
            dims.insert(view.interleavedQ() ? dims.end() : dims.begin(), channels);
        }
        if (static_cast<vint>(dims.size()) != expectedRank) {
            ErrorManager::throwException(ErrorName::ImageSizeError); // no channels
        }
    }
    return VArrayDimensions(dims.begin(), dims.end());
}

} // namespace GTU
