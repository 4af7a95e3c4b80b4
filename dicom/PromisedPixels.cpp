#include "PromisedPixels.h"

#include <algorithm>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcelem.h"

namespace radvex {

namespace {

Uint16 numberOr(Uint16 otherwise, DcmItem& dataset, const DcmTagKey& key) {
    Uint16 number = otherwise;
    (void)dataset.findAndGetUint16(key, number, 0, OFFalse);
    return number;
}

double framesOf(DcmItem& dataset) {
    long frames = 1;
    (void)dataset.findAndGetLongInt(DCM_NumberOfFrames, frames, 0, OFFalse);
    return std::max(1.0, static_cast<double>(frames));
}

double heldBytes(DcmItem& dataset) {
    DcmElement* pixels = nullptr;
    return dataset.findAndGetElement(DCM_PixelData, pixels, OFFalse, OFFalse).good() ? pixels->getLength() : 0.0;
}

double samplesOfFrame(DcmItem& dataset) {
    return 1.0 * numberOr(1, dataset, DCM_Rows) * numberOr(1, dataset, DCM_Columns) *
           numberOr(1, dataset, DCM_SamplesPerPixel);
}

double bitsOfSample(DcmItem& dataset) { return std::max<double>(1.0, numberOr(8, dataset, DCM_BitsAllocated)); }

bool isShort(DcmItem& dataset) {
    return samplesOfFrame(dataset) * framesOf(dataset) * bitsOfSample(dataset) / 8.0 > heldBytes(dataset);
}

bool isPlanarColourOfAnotherModel(DcmItem& dataset) {
    OFString interpretation;
    (void)dataset.findAndGetOFString(DCM_PhotometricInterpretation, interpretation, 0, OFFalse);
    return numberOr(1, dataset, DCM_SamplesPerPixel) > 1 && numberOr(0, dataset, DCM_PlanarConfiguration) != 0 &&
           interpretation != "RGB" && interpretation != "YBR_FULL";
}

/// DCMTK multiplies the sides of an overlay plane and its frames in 64 bits; past them a plane of any size would count
/// as whole.
bool overlayOverflows(DcmItem& dataset, Uint16 group) {
    constexpr Uint16 kRows = 0x0010;
    constexpr Uint16 kColumns = 0x0011;
    constexpr Uint16 kFrames = 0x0015;
    constexpr double kMostBits = 9.0e18; // below 2 to the power of 63
    constexpr double kBitsOfWord = 16.0;
    Sint32 frames = 1;
    (void)dataset.findAndGetSint32(DcmTagKey(group, kFrames), frames, 0, OFFalse);
    return kBitsOfWord * std::max(1.0, static_cast<double>(frames)) * numberOr(0, dataset, DcmTagKey(group, kRows)) *
               numberOr(0, dataset, DcmTagKey(group, kColumns)) >
           kMostBits;
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

double decodedBytes(DcmItem& item) {
    return framesOf(item) * samplesOfFrame(item) * std::max(2.0, bitsOfSample(item) / 8.0);
}

bool promisesTooManyPixels(DcmItem& dataset) {
    const double bits = bitsOfSample(dataset);
    const double samples = std::max(1.0, samplesOfFrame(dataset));
    const double framesHeld = heldBytes(dataset) * 8.0 / bits / samples;
    return missingBytesOfFrames(framesOf(dataset), framesHeld, samples * std::max(1.0, bits / 8.0)) > kMaxMissingBytes;
}

bool misleadsTheRenderer(DcmItem& dataset) {
    const bool endsInsideAWord =
        numberOr(0, dataset, DCM_BitsAllocated) == 32 && static_cast<Uint32>(heldBytes(dataset)) % 4 != 0;
    return endsInsideAWord || anyOverlayOverflows(dataset) ||
           (isPlanarColourOfAnotherModel(dataset) && isShort(dataset));
}

} // namespace radvex
