#include "guard/pixels/ImagePixelAttributes.h"

#include <cctype>

#include "dcmtk/dcmdata/dcelem.h"

namespace radvex {

std::optional<Uint16> ImagePixelAttributes::number(const DcmTagKey& key) const {
    Uint16 number = 0;
    return mItem.findAndGetUint16(key, number, 0, OFFalse).good() ? std::optional(number) : std::nullopt;
}

Uint16 ImagePixelAttributes::numberOr(Uint16 otherwise, const DcmTagKey& key) const {
    Uint16 number = otherwise;
    (void)mItem.findAndGetUint16(key, number, 0, OFFalse);
    return number;
}

double ImagePixelAttributes::frames() const {
    long frames = 1;
    (void)mItem.findAndGetLongInt(DCM_NumberOfFrames, frames, 0, OFFalse);
    return std::max(1.0, static_cast<double>(frames));
}

double ImagePixelAttributes::bitsOfSample() const { return std::max<double>(1.0, numberOr(8, DCM_BitsAllocated)); }

std::string ImagePixelAttributes::colourModel() const {
    OFString interpretation;
    (void)mItem.findAndGetOFString(DCM_PhotometricInterpretation, interpretation, 0, OFFalse);
    std::string model;
    for (const char letter : interpretation) {
        if (std::isalnum(static_cast<unsigned char>(letter)) != 0) {
            model += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        }
    }
    const bool hasOneSample = model.starts_with("MONOCHROME") || model.starts_with("PALETTE");
    return hasOneSample ? "" : model;
}

double ImagePixelAttributes::samplesOfPixel() const {
    const std::string model = colourModel();
    const double expected = model.empty() ? 1.0 : model == "ARGB" || model == "CMYK" ? 4.0 : 3.0;
    return std::max<double>(expected, numberOr(1, DCM_SamplesPerPixel));
}

double ImagePixelAttributes::samplesOfFrame() const {
    return 1.0 * numberOr(1, DCM_Rows) * numberOr(1, DCM_Columns) * samplesOfPixel();
}

double ImagePixelAttributes::declaredBytes() const { return samples() * bitsOfSample() / 8.0; }

bool ImagePixelAttributes::isSubsampled() const {
    const std::string model = colourModel();
    return model == "YBRFULL422" || model == "YBRPARTIAL422";
}

double ImagePixelAttributes::storedBytes() const {
    DcmElement* pixels = nullptr;
    return mItem.findAndGetElement(DCM_PixelData, pixels, OFFalse, OFFalse).good() ? pixels->getLength() : 0.0;
}

std::uint64_t ImagePixelAttributes::bytesOfWholeFrame() const {
    const auto wide = [&](const DcmTagKey& key) { return std::uint64_t{numberOr(0, key)}; };
    return wide(DCM_Rows) * wide(DCM_Columns) * wide(DCM_SamplesPerPixel) * (wide(DCM_BitsAllocated) / 8);
}

std::uint64_t ImagePixelAttributes::bytesOfWholeFrames() const {
    Sint32 frames = 0;
    (void)mItem.findAndGetSint32(DCM_NumberOfFrames, frames);
    return bytesOfWholeFrame() * static_cast<std::uint64_t>(std::max(frames, 1));
}

bool promisesTooManyPixels(DcmItem& dataset) {
    const ImagePixelAttributes attributes(dataset);
    const double bits = attributes.bitsOfSample();
    const double subsampling = attributes.isSubsampled() ? 2.0 / 3.0 : 1.0;
    const double samples = std::max(1.0, attributes.samplesOfFrame() * subsampling);
    const double framesHeld = attributes.storedBytes() * 8.0 / bits / samples;
    return missingBytesOfFrames(attributes.frames(), framesHeld, samples * std::max(1.0, bits / 8.0)) >
           kMaxMissingBytes;
}

} // namespace radvex
