#include "dicom/pixels/PromisedPixels.h"

#include <algorithm>
#include <cctype>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcelem.h"

namespace radvex {

namespace {

double samplesOfFrame(DcmItem& item) {
    return 1.0 * numberOr(1, item, DCM_Rows) * numberOr(1, item, DCM_Columns) * samplesOfPixel(item);
}

} // namespace

Uint16 numberOr(Uint16 otherwise, DcmItem& item, const DcmTagKey& key) {
    Uint16 number = otherwise;
    (void)item.findAndGetUint16(key, number, 0, OFFalse);
    return number;
}

double storedBytes(DcmItem& item) {
    DcmElement* pixels = nullptr;
    return item.findAndGetElement(DCM_PixelData, pixels, OFFalse, OFFalse).good() ? pixels->getLength() : 0.0;
}

double bitsOfSample(DcmItem& item) { return std::max<double>(1.0, numberOr(8, item, DCM_BitsAllocated)); }

double framesOf(DcmItem& item) {
    long frames = 1;
    (void)item.findAndGetLongInt(DCM_NumberOfFrames, frames, 0, OFFalse);
    return std::max(1.0, static_cast<double>(frames));
}

std::string colourModelOf(DcmItem& item) {
    OFString interpretation;
    (void)item.findAndGetOFString(DCM_PhotometricInterpretation, interpretation, 0, OFFalse);
    std::string model;
    for (const char sign : interpretation) {
        if (std::isalnum(static_cast<unsigned char>(sign)) != 0) {
            model += static_cast<char>(std::toupper(static_cast<unsigned char>(sign)));
        }
    }
    const bool isOfOneSample = model.starts_with("MONOCHROME") || model.starts_with("PALETTE");
    return isOfOneSample ? "" : model;
}

double samplesOfPixel(DcmItem& item) {
    const double said = std::max<double>(1.0, numberOr(1, item, DCM_SamplesPerPixel));
    const std::string model = colourModelOf(item);
    if (model.empty()) {
        return said;
    }
    return std::max(said, model == "ARGB" || model == "CMYK" ? 4.0 : 3.0);
}

double declaredBytes(DcmItem& item) { return samplesOfFrame(item) * framesOf(item) * bitsOfSample(item) / 8.0; }

double decodedBytes(DcmItem& item) {
    return framesOf(item) * samplesOfFrame(item) * std::max(2.0, bitsOfSample(item) / 8.0);
}

bool promisesTooManyPixels(DcmItem& dataset) {
    const double bits = bitsOfSample(dataset);
    const double samples = std::max(1.0, samplesOfFrame(dataset));
    const double framesHeld = storedBytes(dataset) * 8.0 / bits / samples;
    return missingBytesOfFrames(framesOf(dataset), framesHeld, samples * std::max(1.0, bits / 8.0)) > kMaxMissingBytes;
}

} // namespace radvex
