// Overlay planes of a file to write.

#include "dicom/writers/DcmOverlay.h"
#include "dicom/writers/DcmWriter.h"

namespace radvex {

namespace {

void addPlane(DcmOverlay& planes, int index, VImage handle, const OverlayOptions& options) {
    const ImageArgument<signed char> image(handle);
    const auto cut = [](vint size) { return static_cast<unsigned short>(size); };
    planes.addOverlayPlane(image.getData(), cut(image.rows()), cut(image.columns()), cut(image.slices()),
                           options.originRow, options.originColumn, options.imageFrameOrigin, options.type);
    if (options.description) {
        planes.setOverlayDescription(index, *options.description);
    }
    if (options.subtype) {
        planes.setOverlaySubtype(index, *options.subtype);
    }
    if (options.label) {
        planes.setOverlayLabel(index, *options.label);
    }
}

} // namespace

std::unique_ptr<DcmOverlay> DcmWriter::createDcmOverlay(ImageArguments& overlays,
                                                        const std::vector<OverlayOptions>& options) {
    if (overlays.size() > DcmOverlay::kMaxPlanes) {
        GTU::ErrorManager::throwException("OverlayCountError");
    }
    auto planes = std::make_unique<DcmOverlay>();
    int index = 0;
    auto option = options.begin();
    for (auto node = overlays.begin(); node != overlays.end() && option != options.end(); ++node, ++option) {
        addPlane(*planes, index++, node->getValue(), *option);
    }
    return planes;
}

void DcmWriter::writeOverlay(ImageArguments& overlays, const std::vector<OverlayOptions>& options) {
    createDcmOverlay(overlays, options)->writeOverlayToDataset(*mDataset);
}

} // namespace radvex
