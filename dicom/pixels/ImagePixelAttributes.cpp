#include "dicom/pixels/ImagePixelAttributes.h"

#include <algorithm>
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
    for (const char sign : interpretation) {
        if (std::isalnum(static_cast<unsigned char>(sign)) != 0) {
            model += static_cast<char>(std::toupper(static_cast<unsigned char>(sign)));
        }
    }
    const bool isOfOneSample = model.starts_with("MONOCHROME") || model.starts_with("PALETTE");
    return isOfOneSample ? "" : model;
}

double ImagePixelAttributes::samplesOfPixel() const {
    const double said = std::max<double>(1.0, numberOr(1, DCM_SamplesPerPixel));
    const std::string model = colourModel();
    if (model.empty()) {
        return said;
    }
    return std::max(said, model == "ARGB" || model == "CMYK" ? 4.0 : 3.0);
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

} // namespace radvex
