#include "dicom/pixels/RenderingSafety.h"

#include <algorithm>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dcmtk/dcmimgle/dcmimage.h"
#include "guard/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

bool isShortColourByPlane(DcmItem& dataset) {
    const ImagePixelAttributes attributes(dataset);
    const std::string model = attributes.colourModel();
    return attributes.numberOr(0, DCM_PlanarConfiguration) != 0 && !model.empty() && model != "RGB" &&
           attributes.declaredBytes() > attributes.storedBytes();
}

/// Of pixels that share their colours in pairs, DCMTK leaves the last of an odd number as it finds it in memory.
bool hasPixelWithoutPartner(DcmItem& dataset) {
    const ImagePixelAttributes attributes(dataset);
    return attributes.isSubsampled() &&
           (attributes.numberOr(1, DCM_Rows) & attributes.numberOr(1, DCM_Columns) & 1) != 0;
}

/// DCMTK multiplies rows, columns and frames of an overlay plane in 64 bits, for a plane in the pixels also their bits.
/// After an overflow it would take a value of any size as complete.
bool overlayOverflows(DcmItem& dataset, Uint16 group) {
    constexpr Uint16 kRows = 0x0010;
    constexpr Uint16 kColumns = 0x0011;
    constexpr Uint16 kFrames = 0x0015;
    constexpr double kMaxBits = 9.0e18; // less than 2^63
    constexpr double kBitsOfPixel = 65535.0;
    const ImagePixelAttributes attributes(dataset);
    Sint32 frames = 1;
    (void)dataset.findAndGetSint32(DcmTagKey(group, kFrames), frames, 0, OFFalse);
    return kBitsOfPixel * std::max(1.0, static_cast<double>(frames)) * attributes.numberOr(0, DcmTagKey(group, kRows)) *
               attributes.numberOr(0, DcmTagKey(group, kColumns)) >
           kMaxBits;
}

bool anyOverlayOverflows(DcmItem& dataset) {
    for (Uint16 group = 0x6000; group <= 0x601E; group = static_cast<Uint16>(group + 2)) {
        if (overlayOverflows(dataset, group)) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string reasonNotToRender(DcmDataset& dataset) {
    constexpr double kMaxSamples = 4294967295.0;
    constexpr Uint16 kMaxBitsOfLut = 16;
    const ImagePixelAttributes attributes(dataset);
    const double stored = attributes.storedBytes();
    if (attributes.numberOr(0, DCM_BitsAllocated) == 32 && static_cast<Uint32>(stored) % 4 != 0) {
        return DicomImage::getString(EIS_InvalidImage); // hosts know this one by DCMTK's text
    }
    if (stored * 8.0 / attributes.bitsOfSample() > kMaxSamples) {
        return "it has more than 4,294,967,295 samples";
    }
    if (isShortColourByPlane(dataset)) {
        return "its colour planes are not all there";
    }
    if (hasPixelWithoutPartner(dataset)) {
        return "two pixels share their colours, and its number of pixels is odd";
    }
    if (anyOverlayOverflows(dataset)) {
        return "an overlay plane is too large";
    }
    const bool hasLut = dataset.tagExists(DCM_ModalityLUTSequence, OFFalse) == OFTrue;
    return hasLut && attributes.numberOr(0, DCM_BitsStored) > kMaxBitsOfLut
               ? "it has a modality LUT for more than 16 bits"
               : "";
}

bool isStandaloneOverlay(DcmItem& dataset) {
    OFString kind;
    return dataset.findAndGetOFString(DCM_SOPClassUID, kind, 0, OFFalse).good() &&
           kind == UID_RETIRED_StandaloneOverlayStorage;
}

void padOddPixelData(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    Uint8* bytes = nullptr;
    if (DcmXfer(dataset.getCurrentXfer()).isEncapsulated() ||
        dataset.findAndGetElement(DCM_PixelData, element, OFFalse, OFFalse).bad() || element->getLength() % 2 == 0 ||
        element->getUint8Array(bytes).bad() || bytes == nullptr) {
        return;
    }
    std::vector<Uint8> even(bytes, bytes + element->getLength());
    if (even.size() % 2 != 0) { // DCMTK may have padded it when it loaded it
        even.push_back(0);
        (void)element->putUint8Array(even.data(), static_cast<unsigned long>(even.size()));
    }
}

} // namespace radvex
