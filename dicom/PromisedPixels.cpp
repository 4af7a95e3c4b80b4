#include "PromisedPixels.h"

#include <algorithm>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcelem.h"

namespace radvex {

namespace {

double numberOr1(DcmItem& dataset, const DcmTagKey& key) {
    Uint16 number = 1;
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

} // namespace

bool promisesTooManyPixels(DcmItem& dataset) {
    const double frameBytes = numberOr1(dataset, DCM_Rows) * numberOr1(dataset, DCM_Columns) *
                              numberOr1(dataset, DCM_SamplesPerPixel) * numberOr1(dataset, DCM_BitsAllocated) / 8.0;
    return framesOf(dataset) * std::max(1.0, frameBytes) - heldBytes(dataset) > kMaxMissingBytes;
}

} // namespace radvex
