#include "EncodedPixels.h"

#include <algorithm>
#include <cstdint>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"

namespace radvex {

namespace {

DcmPixelData* pixelDataOf(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element);
    return dynamic_cast<DcmPixelData*>(element);
}

std::uint64_t numberOf(DcmDataset& dataset, const DcmTagKey& key) {
    Uint16 number = 0;
    (void)dataset.findAndGetUint16(key, number);
    return number;
}

/// Bytes of the pixels that the attributes tell of. The factors have 16 bits, the frames 31: nothing overflows, since
/// the pixels of one frame are at most 2^31.
std::uint64_t promisedBytes(DcmDataset& dataset) {
    Sint32 frames = 0;
    (void)dataset.findAndGetSint32(DCM_NumberOfFrames, frames);
    return numberOf(dataset, DCM_Rows) * numberOf(dataset, DCM_Columns) * numberOf(dataset, DCM_SamplesPerPixel) *
           (numberOf(dataset, DCM_BitsAllocated) / 8) * static_cast<std::uint64_t>(std::max(frames, 1));
}

std::uint64_t encodedBytes(DcmPixelSequence& fragments) {
    std::uint64_t bytes = 0;
    for (unsigned long index = 0; index < fragments.card(); ++index) {
        DcmPixelItem* fragment = nullptr;
        if (fragments.getItem(fragment, index).good()) {
            bytes += fragment->getLength();
        }
    }
    return bytes;
}

} // namespace

bool holdsAllPixels(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    const std::uint64_t promised = promisedBytes(dataset);
    return pixels == nullptr || (promised > 0 && promised <= pixels->getLength());
}

bool canBeDecoded(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter* parameter) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    DcmPixelSequence* fragments = nullptr;
    if (pixels == nullptr || pixels->getEncapsulatedRepresentation(syntax, parameter, fragments).bad() ||
        fragments == nullptr || encodedBytes(*fragments) < promisedBytes(dataset)) {
        return true;
    }
    DcmDataset copy(dataset); // the raw pixels beside the fragments must not answer for them
    copy.removeAllButCurrentRepresentations();
    return copy.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).good();
}

} // namespace radvex
