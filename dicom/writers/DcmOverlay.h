#pragma once

#include <string>
#include <vector>

#include "dicom/writers/DcmOverlayPlane.h"

namespace radvex {

/// The overlay planes of a file to write. Their order decides the group of each: 6000, 6002 and so on up to 601E.
class DcmOverlay {
  public:
    static constexpr std::size_t kMaxPlanes = 16;

    /// Appends a plane; the parameters are those of DcmOverlayPlane.
    /// @throws GantryError  OverlayCountError for the seventeenth
    void addOverlayPlane(const signed char* data, unsigned short rows, unsigned short columns, unsigned short frames,
                         short originRow, short originColumn, unsigned short imageFrameOrigin, std::string type);

    /// Sets a text of a plane; the first plane has the index 0. @throws GantryError  OverlayIndexOutOfBounds (index)
    void setOverlayDescription(int index, std::string value);
    void setOverlaySubtype(int index, std::string value);
    void setOverlayLabel(int index, std::string value);

    /// @throws GantryError  those of DcmOverlayPlane::writePlaneToDataset
    void writeOverlayToDataset(DcmDataset& dataset) const;

  private:
    DcmOverlayPlane& planeAt(int index);

    std::vector<DcmOverlayPlane> mPlanes{};
};

} // namespace radvex
