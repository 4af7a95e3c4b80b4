#include "dicom/writers/DcmOverlayPlane.h"

#include <utility>

#include "dicom/writers/WriteChecks.h"

namespace radvex {

namespace {

constexpr std::size_t kBitsOfWord = 16;

std::size_t pixelCount(unsigned short rows, unsigned short columns, unsigned short frames) {
    return std::size_t{rows} * columns * frames;
}

std::size_t wordCount(std::size_t pixels) { return (pixels + kBitsOfWord - 1) / kBitsOfWord; }

} // namespace

DcmOverlayPlane::DcmOverlayPlane(unsigned short group, const signed char* data, unsigned short rows,
                                 unsigned short columns, unsigned short frames, short originRow, short originColumn,
                                 unsigned short imageFrameOrigin, std::string type)
    : mGroup(group),
      mRows(rows),
      mColumns(columns),
      mFrames(frames),
      mOriginRow(originRow),
      mOriginColumn(originColumn),
      mImageFrameOrigin(imageFrameOrigin),
      mType(std::move(type)) {
    const std::size_t pixels = pixelCount(rows, columns, frames);
    if (data == nullptr && pixels > 0) {
        GTU::ErrorManager::throwException("ImageWriteError", "An overlay has no pixels");
    }
    const std::size_t words = wordCount(pixels);
    requireStorableLength(words * sizeof(Uint16));
    mData = std::make_unique<Uint16[]>(words);
    for (std::size_t index = 0; index < pixels; ++index) {
        if (data[index] == 1) {
            Uint16& word = mData[index / kBitsOfWord];
            word = static_cast<Uint16>(word | (1U << (index % kBitsOfWord)));
        }
    }
}

void DcmOverlayPlane::putText(DcmDataset& dataset, Uint16 element, const char* keyword,
                              const std::optional<std::string>& value) const {
    if (!value) {
        return;
    }
    const OFCondition put = dataset.putAndInsertString(tag(element, EVR_LO), value->c_str(), OFTrue);
    if (put.bad()) {
        GTU::ErrorManager::throwExceptionWithDebugInfo("TagWriteError", "An overlay text was refused.", keyword,
                                                       put.text());
    }
}

void DcmOverlayPlane::writePlaneToDataset(DcmDataset& dataset) const {
    const std::string origin = std::to_string(mOriginRow) + '\\' + std::to_string(mOriginColumn);
    (void)dataset.putAndInsertUint16(tag(0x0010, EVR_US), mRows, 0, OFTrue);
    (void)dataset.putAndInsertUint16(tag(0x0011, EVR_US), mColumns, 0, OFTrue);
    (void)dataset.putAndInsertString(tag(0x0015, EVR_IS), std::to_string(mFrames).c_str(), OFTrue);
    putText(dataset, 0x0022, "OverlayDescription", mDescription);
    (void)dataset.putAndInsertString(tag(0x0040, EVR_CS), mType.c_str(), OFTrue);
    putText(dataset, 0x0045, "OverlaySubtype", mSubtype);
    (void)dataset.putAndInsertString(tag(0x0050, EVR_SS), origin.c_str(), OFTrue);
    (void)dataset.putAndInsertUint16(tag(0x0051, EVR_US), mImageFrameOrigin, 0, OFTrue);
    (void)dataset.putAndInsertUint16(tag(0x0100, EVR_US), 1, 0, OFTrue);
    (void)dataset.putAndInsertUint16(tag(0x0102, EVR_US), 0, 0, OFTrue);
    putText(dataset, 0x1500, "OverlayLabel", mLabel);
    const OFCondition put = dataset.putAndInsertUint16Array(tag(0x3000, EVR_OW), mData.get(),
                                                            wordCount(pixelCount(mRows, mColumns, mFrames)), OFTrue);
    if (put.bad()) {
        GTU::ErrorManager::throwExceptionWithDebugInfo("ImageWriteError", "Overlay Data was refused.", put.text());
    }
}

} // namespace radvex
