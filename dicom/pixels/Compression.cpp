#include "dicom/pixels/Compression.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmjpls/djcodece.h"
#include "dcmtk/dcmjpls/djcparam.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "guard/pixels/EncodedPixels.h"
#include "guard/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

const DJLSRepresentationParameter kLossless(0, OFTrue);

/// Copies the samples of one frame from planes to pixels.
void interleave(const unsigned char* planes, unsigned char* pixels, std::size_t sampleCount, std::size_t pixelCount,
                std::size_t sampleSize) {
    for (std::size_t sample = 0; sample < sampleCount; ++sample) {
        for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
            std::memcpy(pixels + (pixel * sampleCount + sample) * sampleSize, planes, sampleSize);
            planes += sampleSize;
        }
    }
}

/// Puts the samples of each pixel side by side, frame by frame, and sets PlanarConfiguration. DCMTK's lossless JPEG
/// encoder would do the same, but it takes the planes of all frames for those of one.
void interleaveSamples(DcmDataset& dataset) {
    const ImagePixelAttributes attributes(dataset);
    const std::size_t sampleCount = attributes.numberOr(0, DCM_SamplesPerPixel);
    const std::size_t pixelCount = std::size_t{attributes.numberOr(0, DCM_Rows)} * attributes.numberOr(0, DCM_Columns);
    const std::size_t sampleSize = attributes.numberOr(0, DCM_BitsAllocated) / 8U;
    DcmPixelData* pixels = pixelDataOf(dataset);
    Uint16* words = nullptr;
    if (pixels == nullptr || sampleCount < 2 || attributes.numberOr(0, DCM_PlanarConfiguration) != 1 ||
        pixels->getUint16Array(words).bad() || words == nullptr) {
        return;
    }
    const std::size_t frameSize = sampleCount * pixelCount * sampleSize;
    auto* frame = reinterpret_cast<unsigned char*>(words);
    std::vector<unsigned char> planes(frameSize);
    for (std::uint64_t done = 0; done < attributes.bytesOfWholeFrames(); done += frameSize, frame += frameSize) {
        std::memcpy(planes.data(), frame, frameSize);
        interleave(planes.data(), frame, sampleCount, pixelCount, sampleSize);
    }
    (void)dataset.putAndInsertUint16(DCM_PlanarConfiguration, 0);
}

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

/// Lossy compression renders pixels of one sample or of three. It would change pixels of any other number of samples.
bool canBeRendered(DcmDataset& dataset) {
    Uint16 samples = 0;
    (void)dataset.findAndGetUint16(DCM_SamplesPerPixel, samples);
    return samples == 1 || samples == 3;
}

/// Without a deviation the stored pixels are compressed, bit for bit, in the lossy transfer syntax too. With one they
/// go through DCMTK's renderer, the only way to its lossy encoder, which takes no signed pixels.
OFCondition encodeJpegLs(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    if (pixels == nullptr) {
        return dataset.chooseRepresentation(syntax, &parameter); // floating-point pixels, which no encoder takes
    }
    interleaveSamples(dataset);
    const auto* lossy = dynamic_cast<const DJLSRepresentationParameter*>(&parameter);
    if (syntax == EXS_JPEGLSLossy && lossy != nullptr && lossy->getnearlosslessDeviation() > 0) {
        return canBeRendered(dataset) ? dataset.chooseRepresentation(syntax, &parameter)
                                      : EC_CannotChangeRepresentation;
    }
    std::unique_ptr<DcmPixelSequence> fragments;
    const OFCondition encoded = encodeStoredPixels(dataset, *pixels, syntax, fragments);
    if (encoded.bad()) {
        return encoded;
    }
    pixels->putOriginalRepresentation(syntax, &kLossless, fragments.release());
    return dataset.chooseRepresentation(syntax, &kLossless);
}

} // namespace

bool holdsAllPixels(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    const std::uint64_t promised = ImagePixelAttributes(dataset).bytesOfWholeFrames();
    return pixels == nullptr || (promised > 0 && promised <= pixels->getLength());
}

OFCondition compressPixels(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter& parameter) {
    switch (syntax) {
    case EXS_JPEGLSLossless:
    case EXS_JPEGLSLossy: return encodeJpegLs(dataset, syntax, parameter);
    case EXS_JPEGProcess14:
    case EXS_JPEGProcess14SV1: interleaveSamples(dataset); break;
    case EXS_JPEGProcess1:
    case EXS_JPEGProcess2_4:
        if (!canBeRendered(dataset)) {
            return EC_CannotChangeRepresentation;
        }
        break;
    default: break;
    }
    return dataset.chooseRepresentation(syntax, &parameter);
}

bool canBeDecoded(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    DcmPixelSequence* fragments = pixels == nullptr ? nullptr : currentFragments(*pixels);
    if (fragments == nullptr || encodedBytes(*fragments) < ImagePixelAttributes(dataset).bytesOfWholeFrames()) {
        return true;
    }
    DcmDataset copy(dataset); // without the raw pixels, which DCMTK would give out instead
    copy.removeAllButCurrentRepresentations();
    return copy.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).good();
}

} // namespace radvex
