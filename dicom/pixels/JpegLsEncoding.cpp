#include "dicom/pixels/JpegLsEncoding.h"

#include <memory>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmjpls/djcodece.h"
#include "dcmtk/dcmjpls/djcparam.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "dicom/pixels/EncodedPixels.h"
#include "dicom/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

const DJLSRepresentationParameter kLossless(0, OFTrue);

OFCondition encodeStoredPixels(DcmDataset& dataset, DcmPixelData& pixels, E_TransferSyntax syntax,
                               std::unique_ptr<DcmPixelSequence>& fragments) {
    const DJLSCodecParameter storedPixels(OFFalse, 0, 0, 0, 0, 0, OFTrue, EJLSUC_default, OFFalse, EJLSPC_restore,
                                          OFFalse, DJLSCodecParameter::interleaveDefault, OFTrue);
    std::unique_ptr<DJLSEncoderBase> encoder;
    if (syntax == EXS_JPEGLSLossless) {
        encoder = std::make_unique<DJLSLosslessEncoder>();
    } else {
        encoder = std::make_unique<DJLSNearLosslessEncoder>();
    }
    Uint16* words = nullptr;
    OFCondition result = pixels.getUint16Array(words);
    if (result.good()) {
        DcmStack stack;
        stack.push(&dataset);
        stack.push(&pixels);
        OFBool isHeaderChanged = OFFalse;
        DcmPixelSequence* encoded = nullptr;
        result = encoder->encode(words, pixels.getLength(), &kLossless, encoded, &storedPixels, stack, isHeaderChanged);
        fragments.reset(encoded);
    }
    return result.good() && fragments == nullptr ? OFCondition(EC_CannotChangeRepresentation) : result;
}

} // namespace

OFCondition encodeJpegLs(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element);
    auto* pixels = dynamic_cast<DcmPixelData*>(element);
    if (pixels == nullptr) {
        return dataset.chooseRepresentation(syntax, &parameter); // real pixels, for which there is no encoder
    }
    interleaveSamples(dataset);
    const auto* lossy = dynamic_cast<const DJLSRepresentationParameter*>(&parameter);
    if (syntax == EXS_JPEGLSLossy && lossy != nullptr && lossy->getnearlosslessDeviation() > 0) {
        const Uint16 samples = ImagePixelAttributes(dataset).numberOr(0, DCM_SamplesPerPixel);
        const bool hasEncoder = samples == 1 || samples == 3; // of others the renderer would make other pixels
        return hasEncoder ? dataset.chooseRepresentation(syntax, &parameter) : EC_CannotChangeRepresentation;
    }
    std::unique_ptr<DcmPixelSequence> fragments;
    const OFCondition encoded = encodeStoredPixels(dataset, *pixels, syntax, fragments);
    if (encoded.bad()) {
        return encoded;
    }
    pixels->putOriginalRepresentation(syntax, &kLossless, fragments.release());
    return dataset.chooseRepresentation(syntax, &kLossless);
}

} // namespace radvex
