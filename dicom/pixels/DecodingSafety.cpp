#include "dicom/pixels/DecodingSafety.h"

#include <algorithm>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dicom/pixels/Fragments.h"
#include "dicom/pixels/ImagePixelAttributes.h"
#include "dicom/pixels/JpegLsPresets.h"
#include "dicom/pixels/JpegSegments.h"
#include "dicom/pixels/PromisedPixels.h"

namespace radvex {

namespace {

bool isJpeg(E_TransferSyntax syntax) { return syntax >= EXS_JPEGProcess1 && syntax <= EXS_JPEGProcess14SV1; }

bool isJpegLs(E_TransferSyntax syntax) { return syntax == EXS_JPEGLSLossless || syntax == EXS_JPEGLSLossy; }

/// Shows every fragment to a reader.
template <typename Reader>
void addFragments(DcmPixelSequence& fragments, Reader& reader) {
    forEachFragment(fragments, [&](DcmPixelItem& fragment) {
        Uint8* bytes = nullptr;
        if (fragment.getUint8Array(bytes).good() && bytes != nullptr) {
            reader.add({bytes, fragment.getLength()});
        }
    });
}

/// Decoders count the frames that are there; of one frame that is there is one.
bool saysOneFrame(DcmDataset& dataset) {
    OFString frames;
    const bool isThere = dataset.tagExists(DCM_NumberOfFrames, OFFalse) == OFTrue;
    return !isThere || (dataset.findAndGetOFStringArray(DCM_NumberOfFrames, frames, OFFalse).good() && frames == "1");
}

bool holdsPixels(DcmDataset& dataset, const DcmTagKey& key) {
    DcmElement* element = nullptr;
    DcmStack stack;
    return dataset.findAndGetElement(key, element, OFFalse, OFFalse).good() && !element->isLeaf() &&
           element->search(DCM_PixelData, stack, ESM_fromHere, OFTrue).good();
}

bool isSafeJpegLs(DcmPixelSequence& fragments) {
    JpegLsPresets presets;
    addFragments(fragments, presets);
    return !presets.areImpossible();
}

bool isSafeJpeg(const ImagePixelAttributes& attributes, DcmPixelSequence& fragments) {
    JpegSegments segments;
    addFragments(fragments, segments);
    segments.finish();
    // A sample counts two bytes on both sides, as a coefficient and as what may be decoded. RGB is not converted.
    return !segments.isImpossible() && segments.largestFrame() - attributes.decodedBytes() <= kMaxMissingBytes &&
           (!segments.overrunsColourTables() || attributes.colourModel() == "RGB");
}

bool arePixelsSafeToDecode(DcmItem& item, DcmPixelData& pixels, E_TransferSyntax syntax) {
    constexpr double kMostPacked = 1000.0;      // an empty JPEG-LS frame packs better, but does not come to much
    constexpr double kMostDecoded = 0xFFFFFFFE; // DCMTK counts all frames in 32 bits, and writes behind what that gives
    constexpr double kMostSpareFragments = 8192; // each is looked for by counting from the first one
    const ImagePixelAttributes attributes(item);
    const double decoded = attributes.decodedBytes();
    if (decoded > kMostDecoded || decoded - kMostPacked * pixels.getLength(syntax) > kMaxMissingBytes) {
        return false;
    }
    DcmPixelSequence* fragments = nullptr;
    if (pixels.getEncapsulatedRepresentation(syntax, nullptr, fragments).bad() || fragments == nullptr) {
        return true; // nothing is there to decode
    }
    if (static_cast<double>(fragments->card()) > attributes.frames() + kMostSpareFragments) {
        return false;
    }
    if (isJpegLs(syntax)) {
        return isSafeJpegLs(*fragments);
    }
    return !isJpeg(syntax) || isSafeJpeg(attributes, *fragments);
}

} // namespace

bool isSafeToDecode(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!DcmXfer(syntax).isEncapsulated()) {
        return true;
    }
    DcmStack stack;
    stack.push(&dataset);
    while (dataset.search(DCM_PixelData, stack, ESM_afterStackTop, OFTrue).good()) {
        auto* pixels = dynamic_cast<DcmPixelData*>(stack.top());
        auto* item = dynamic_cast<DcmItem*>(stack.elem(1)); // what the pixels stand in
        if (item != nullptr && pixels != nullptr && !arePixelsSafeToDecode(*item, *pixels, syntax)) {
            return false;
        }
    }
    return true;
}

bool isChangedByDecoding(DcmDataset& dataset, const DcmTagKey& key) {
    constexpr Uint16 kOverlayGroups = 0x6000;
    constexpr Uint16 kLastOverlayGroup = 0x60FF;
    const DcmTagKey written[] = {
        DCM_SamplesPerPixel, DCM_PhotometricInterpretation, DCM_PlanarConfiguration, DCM_BitsAllocated, DCM_BitsStored,
        DCM_HighBit,         DCM_LossyImageCompression};
    if (!DcmXfer(dataset.getCurrentXfer()).isEncapsulated()) {
        return false;
    }
    if (key == DCM_NumberOfFrames) {
        return !saysOneFrame(dataset);
    }
    return key == DCM_PixelData || (key.getGroup() >= kOverlayGroups && key.getGroup() <= kLastOverlayGroup) ||
           std::find(std::begin(written), std::end(written), key) != std::end(written) || holdsPixels(dataset, key);
}

} // namespace radvex
