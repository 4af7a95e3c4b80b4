#include "dicom/pixels/JpegLsEncoding.h"

#include <cstdint>
#include <memory>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmjpls/djcodece.h"
#include "dcmtk/dcmjpls/djcparam.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "dicom/pixels/EncodedPixels.h"
#include "dicom/pixels/Fragments.h"
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

/// True when the encoder of rendered pixels takes them, and each frame was compressed to half its size at most.
bool isLossySafe(DcmDataset& dataset, DcmPixelSequence& fragments) {
    const ImagePixelAttributes attributes(dataset);
    if (attributes.numberOr(0, DCM_PixelRepresentation) != 0) {
        return false; // without a deviation the lossless frames are what was asked for
    }
    const std::uint64_t frameBytes = attributes.bytesOfWholeFrame();
    bool isSafe = true;
    forEachFragment(fragments,
                    [&](DcmPixelItem& fragment) { isSafe = isSafe && fragment.getLength() <= frameBytes / 2; });
    return isSafe;
}

/// Ends streams of an odd length as the encoder means to, with a longer marker (FF FF D9): it puts that into another
/// buffer, and leaves behind the stream whatever was in memory there.
OFCondition mendPadding(DcmPixelData& pixels) {
    DcmPixelSequence* fragments = currentFragments(pixels);
    if (fragments == nullptr) {
        return EC_CannotChangeRepresentation;
    }
    bool isWhole = true;
    forEachFragment(*fragments, [&](DcmPixelItem& fragment) {
        Uint8* bytes = nullptr;
        if (fragment.getUint8Array(bytes).bad() || bytes == nullptr) {
            isWhole = false;
            return;
        }
        Uint8* end = bytes + fragment.getLength();
        if (fragment.getLength() > 3 && end[-3] == 0xFF && end[-2] == 0xD9) {
            end[-2] = 0xFF;
            end[-1] = 0xD9;
        }
    });
    return isWhole ? EC_Normal : EC_CannotChangeRepresentation;
}

} // namespace

OFCondition encodeJpegLs(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element);
    auto* pixels = dynamic_cast<DcmPixelData*>(element);
    if (pixels == nullptr) {
        return dataset.chooseRepresentation(syntax, &parameter); // real pixels, for which there is no encoder
    }
    const auto* deviation = dynamic_cast<const DJLSRepresentationParameter*>(&parameter);
    if (syntax == EXS_JPEGLSLossy && ImagePixelAttributes(dataset).numberOr(0, DCM_PixelRepresentation) != 0 &&
        deviation != nullptr && deviation->getnearlosslessDeviation() > 0) {
        return dataset.chooseRepresentation(syntax, &parameter); // refused before anything is encoded
    }
    interleaveSamples(dataset);
    std::unique_ptr<DcmPixelSequence> fragments;
    const OFCondition encoded = encodeStoredPixels(dataset, *pixels, syntax, fragments);
    if (encoded.bad()) {
        return encoded;
    }
    if (syntax == EXS_JPEGLSLossy && isLossySafe(dataset, *fragments)) {
        fragments.reset();
        const OFCondition chosen = dataset.chooseRepresentation(syntax, &parameter);
        return chosen.good() ? mendPadding(*pixels) : chosen;
    }
    pixels->putOriginalRepresentation(syntax, &kLossless, fragments.release());
    return dataset.chooseRepresentation(syntax, &kLossless);
}

} // namespace radvex
