#pragma once

#include <memory>
#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// One overlay plane of a file to write: a repeating group 60xx with its bits packed (PS3.3 C.9.2, PS3.5 8.1.2).
class DcmOverlayPlane {
  public:
    /// Packs the pixels, frame by frame, row by row, lowest bit first, without padding between rows or frames. The
    /// plane keeps a copy of them.
    ///
    /// @param data  rows * columns * frames bytes; 1 becomes a set bit, every other value a clear one
    /// @throws GantryError  ImageWriteError (reason) when there are no pixels, or too many for a value in DICOM
    DcmOverlayPlane(unsigned short group, const signed char* data, unsigned short rows, unsigned short columns,
                    unsigned short frames, short originRow, short originColumn, unsigned short imageFrameOrigin,
                    std::string type);

    void setDescription(std::string value) { mDescription = std::move(value); }
    void setSubtype(std::string value) { mSubtype = std::move(value); }
    void setLabel(std::string value) { mLabel = std::move(value); }

    /// Sets the attributes of the group, and replaces those that are there. Only a refusal of the three optional texts
    /// or of Overlay Data is an error; the other attributes are the type, and numbers that are always valid.
    /// @throws GantryError  TagWriteError (keyword, reason), ImageWriteError (reason)
    void writePlaneToDataset(DcmDataset& dataset) const;

  private:
    void putText(DcmDataset& dataset, Uint16 element, const char* keyword,
                 const std::optional<std::string>& value) const;
    DcmTag tag(Uint16 element, DcmEVR vr) const { return {mGroup, element, DcmVR(vr)}; }

    std::unique_ptr<Uint16[]> mData{};
    unsigned short mGroup;
    unsigned short mRows;
    unsigned short mColumns;
    unsigned short mFrames;
    short mOriginRow;
    short mOriginColumn;
    unsigned short mImageFrameOrigin;
    std::string mType;
    std::optional<std::string> mDescription{};
    std::optional<std::string> mSubtype{};
    std::optional<std::string> mLabel{};
};

} // namespace radvex
