#include "dicom/writers/DcmOverlay.h"

#include <utility>

#include "bridge/ErrorManager.h"

namespace radvex {

void DcmOverlay::addOverlayPlane(const signed char* data, unsigned short rows, unsigned short columns,
                                 unsigned short frames, short originRow, short originColumn,
                                 unsigned short imageFrameOrigin, std::string type) {
    if (mPlanes.size() >= kMaxPlanes) {
        GTU::ErrorManager::throwException("OverlayCountError");
    }
    const auto group = static_cast<unsigned short>(0x6000 + 2 * mPlanes.size());
    mPlanes.emplace_back(group, data, rows, columns, frames, originRow, originColumn, imageFrameOrigin,
                         std::move(type));
}

void DcmOverlay::setOverlayDescription(int index, std::string value) {
    planeAt(index).setDescription(std::move(value));
}

void DcmOverlay::setOverlaySubtype(int index, std::string value) { planeAt(index).setSubtype(std::move(value)); }

void DcmOverlay::setOverlayLabel(int index, std::string value) { planeAt(index).setLabel(std::move(value)); }

void DcmOverlay::writeOverlayToDataset(DcmDataset& dataset) const {
    for (const DcmOverlayPlane& plane : mPlanes) {
        plane.writePlaneToDataset(dataset);
    }
}

DcmOverlayPlane& DcmOverlay::planeAt(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= mPlanes.size()) {
        GTU::ErrorManager::throwException("OverlayIndexOutOfBounds", index);
    }
    return mPlanes[static_cast<std::size_t>(index)];
}

} // namespace radvex
