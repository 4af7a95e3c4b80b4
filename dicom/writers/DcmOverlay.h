#pragma once

#include <string>
#include <vector>

#include "dicom/writers/DcmOverlayPlane.h"

namespace radvex {

/// The overlay planes of a file to write, in order. A plane's place decides its group: 6000, 6002 and on to 601E.
class DcmOverlay {
  public:
    static constexpr std::size_t kMaxPlanes = 16;

    /// Appends a plane; see DcmOverlayPlane for the parameters.
    /// @throws GantryError  OverlayCountError for the seventeenth
    void addOverlayPlane(const signed char* data, unsigned short rows, unsigned short columns, unsigned short frames,
                         short originRow, short originColumn, unsigned short imageFrameOrigin, std::string type);

    /// Sets a text of the plane at an index, from 0. @throws GantryError  OverlayIndexOutOfBounds (index)
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
