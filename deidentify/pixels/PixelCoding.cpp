#include "deidentify/pixels/PixelCoding.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "dcmtk/dcmdata/dccodec.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpls/djcodece.h"
#include "dcmtk/dcmjpls/djcparam.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "deidentify/pixels/PixelLayout.h"
#include "guard/pixels/DecodingSafety.h"

namespace radvex::deidentify {

namespace {

[[noreturn]] void fail(const std::string& why) { throw std::runtime_error(why); }

DcmPixelData* pixelDataOf(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element, OFFalse, OFFalse);
    return dynamic_cast<DcmPixelData*>(element);
}

E_TransferSyntax syntaxOf(DcmPixelData& pixels) {
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    pixels.getCurrentRepresentationKey(syntax, parameter);
    return syntax;
}

/// DCMTK registers each codec once in a process and ignores who comes later, so these settings only count where nobody
/// registered before: they are those of the library. Nothing is unregistered, since the library may go on with them.
void registerCodecs() {
    DJDecoderRegistration::registerCodecs(EDC_photometricInterpretation, EUC_default, EPC_default, OFFalse, OFFalse,
                                          OFFalse);
    DJLSDecoderRegistration::registerCodecs(EJLSUC_default, EJLSPC_restore, OFFalse, OFFalse);
    DcmRLEDecoderRegistration::registerCodecs(OFFalse, OFFalse);
    DJEncoderRegistration::registerCodecs(ECC_lossyYCbCr, EUC_default, OFFalse, 0, 0, 0, OFTrue, ESS_422, OFTrue,
                                          OFFalse, 0, 0, 0.0, 0.0, 0, 0, 0, 0, OFTrue, OFFalse, OFFalse, OFFalse,
                                          OFTrue);
    DcmRLEEncoderRegistration::registerCodecs(OFFalse, 0, OFTrue, OFFalse);
}

/// Keeps attributes as they are while codecs, which describe what they did, are at work.
class KeptAttributes {
  public:
    KeptAttributes(DcmItem& item, const std::vector<DcmTagKey>& keys) : mItem(item) {
        for (const DcmTagKey& key : keys) {
            DcmElement* element = nullptr;
            (void)item.findAndGetElement(key, element, OFFalse, OFTrue); // a copy
            mKept.emplace_back(key, element);
        }
    }

    void restore() {
        for (auto& [key, element] : mKept) {
            (void)mItem.findAndDeleteElement(key);
            if (element != nullptr && mItem.insert(element.get(), OFTrue).good()) {
                (void)element.release();
            }
        }
    }

  private:
    DcmItem& mItem;
    std::vector<std::pair<DcmTagKey, std::unique_ptr<DcmElement>>> mKept{};
};

std::vector<DcmTagKey> describedByCodecs() {
    return {DCM_SOPInstanceUID,
            DCM_SOPClassUID,
            DCM_ImageType,
            DCM_DerivationDescription,
            DCM_DerivationCodeSequence,
            DCM_SourceImageSequence,
            DCM_LossyImageCompression,
            DCM_LossyImageCompressionRatio,
            DCM_LossyImageCompressionMethod};
}

long framesOf(DcmItem& dataset) {
    long frames = 1;
    (void)dataset.findAndGetLongInt(DCM_NumberOfFrames, frames, 0, OFFalse);
    return std::max(frames, 1L);
}

void interleaveFrame(std::span<Uint8> frame, std::size_t samples, std::size_t size) {
    const std::vector<Uint8> planes(frame.begin(), frame.end());
    const std::size_t pixels = frame.size() / samples / size;
    for (std::size_t sample = 0; sample < samples; ++sample) {
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            std::memcpy(frame.data() + (pixel * samples + sample) * size,
                        planes.data() + (sample * pixels + pixel) * size, size);
        }
    }
}

/// Puts the samples of each pixel side by side. DCMTK's lossless JPEG encoder does the same, but takes the planes of
/// all frames for those of one.
void interleaveSamples(DcmDataset& dataset) {
    const PixelLayout layout = pixelLayoutOf(dataset);
    if (!layout.isByPlane) {
        return;
    }
    const std::span<Uint8> all = bytesOfFrames(rawBytes(*pixelElementOf(dataset)), layout);
    const std::size_t frameBytes = static_cast<std::size_t>(layout.samplesOfFrame()) * (layout.bitsAllocated / 8U);
    for (std::size_t at = 0; at + frameBytes <= all.size(); at += frameBytes) {
        interleaveFrame(all.subspan(at, frameBytes), layout.samples, layout.bitsAllocated / 8U);
    }
    (void)dataset.putAndInsertUint16(DCM_PlanarConfiguration, 0);
}

/// The registered encoder would go through DCMTK's renderer. This one takes the stored pixels.
OFCondition encodeJpegLs(DcmDataset& dataset, DcmPixelData& pixels) {
    const DJLSRepresentationParameter lossless(0, OFTrue);
    const DJLSCodecParameter storedPixels(OFFalse, 0, 0, 0, 0, 0, OFTrue, EJLSUC_default, OFFalse, EJLSPC_restore,
                                          OFFalse, DJLSCodecParameter::interleaveDefault, OFTrue);
    const std::span<Uint8> bytes = rawBytes(pixels);
    Uint16* words = nullptr;
    OFCondition result = pixels.getUint16Array(words);
    if (result.bad()) {
        return result;
    }
    DcmStack stack;
    stack.push(&dataset);
    stack.push(&pixels);
    OFBool isChanged = OFFalse;
    DcmPixelSequence* encoded = nullptr;
    result = DJLSLosslessEncoder().encode(words, static_cast<Uint32>(bytes.size()), &lossless, encoded, &storedPixels,
                                          stack, isChanged);
    std::unique_ptr<DcmPixelSequence> fragments(encoded);
    if (result.good() && fragments != nullptr) {
        pixels.putOriginalRepresentation(EXS_JPEGLSLossless, &lossless, fragments.release());
        result = dataset.chooseRepresentation(EXS_JPEGLSLossless, &lossless);
    }
    return result;
}

E_TransferSyntax losslessOf(E_TransferSyntax before) {
    const bool isLossless = before == EXS_JPEGProcess14 || before == EXS_JPEGProcess14SV1 ||
                            before == EXS_JPEGLSLossless || before == EXS_RLELossless;
    return isLossless ? before : EXS_JPEGProcess14SV1;
}

OFCondition encodeAs(DcmDataset& dataset, DcmPixelData& pixels, E_TransferSyntax syntax) {
    if (syntax == EXS_JPEGLSLossless) {
        return encodeJpegLs(dataset, pixels);
    }
    if (syntax == EXS_RLELossless) {
        return dataset.chooseRepresentation(syntax, nullptr);
    }
    const DJ_RPLossless lossless;
    return dataset.chooseRepresentation(syntax, &lossless);
}

/// Whether the pixels of a compressed dataset are these.
bool decodesTo(DcmDataset& dataset, const std::vector<Uint8>& wanted) {
    DcmDataset copy(dataset);
    if (copy.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).bad()) {
        return false;
    }
    copy.removeAllButCurrentRepresentations();
    interleaveSamples(copy);
    const std::span<Uint8> decoded = bytesOfFrames(rawBytes(*pixelElementOf(copy)), pixelLayoutOf(copy));
    return std::equal(decoded.begin(), decoded.end(), wanted.begin(), wanted.end());
}

/// @throws std::runtime_error  a part of a sentence: the pixels must or can not be decoded
E_TransferSyntax decodableSyntaxOf(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    if (pixels == nullptr) {
        fail("it has no pixels");
    }
    const E_TransferSyntax syntax = syntaxOf(*pixels);
    // That of JPEG 2000 is the library's, so that it is there where the library is.
    if (!DcmCodecList::canChangeCoding(syntax, EXS_LittleEndianExplicit)) {
        fail(std::string("pixels in ") + DcmXfer(syntax).getXferName() + " cannot be decoded");
    }
    if (dataset.getCurrentXfer() != syntax) { // which the guard goes by
        fail("its pixels are not compressed as it says");
    }
    if (const std::string reason = reasonNotToDecode(dataset); !reason.empty()) {
        fail(reason);
    }
    return syntax;
}

} // namespace

bool isCompressed(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    return pixels != nullptr && DcmXfer(syntaxOf(*pixels)).isEncapsulated();
}

E_TransferSyntax decodePixels(DcmDataset& dataset) {
    registerCodecs();
    const E_TransferSyntax syntax = decodableSyntaxOf(dataset);
    const long frames = framesOf(dataset);
    KeptAttributes kept(dataset, describedByCodecs());
    const OFCondition decoded = dataset.chooseRepresentation(EXS_LittleEndianExplicit, nullptr);
    if (decoded.bad()) {
        fail(std::string("its pixels cannot be decoded: ") + decoded.text());
    }
    if (framesOf(dataset) != frames) { // decoders correct the number to what they find
        fail("its compressed frames are not all there");
    }
    OFString lossy;
    (void)dataset.findAndGetOFString(DCM_LossyImageCompression, lossy, 0, OFFalse);
    kept.restore();
    if (!lossy.empty() && dataset.tagExistsWithValue(DCM_LossyImageCompression) == OFFalse) {
        (void)dataset.putAndInsertOFStringArray(DCM_LossyImageCompression, lossy);
    }
    dataset.removeAllButCurrentRepresentations();
    return syntax;
}

void encodePixels(DcmDataset& dataset, E_TransferSyntax before) {
    registerCodecs();
    const E_TransferSyntax syntax = losslessOf(before);
    DcmPixelData* pixels = pixelDataOf(dataset);
    if (pixels == nullptr) {
        fail("it has no pixels");
    }
    interleaveSamples(dataset);
    const std::span<Uint8> bytes = bytesOfFrames(rawBytes(*pixels), pixelLayoutOf(dataset));
    const std::vector<Uint8> wanted(bytes.begin(), bytes.end());
    KeptAttributes kept(dataset, describedByCodecs());
    const OFCondition encoded = encodeAs(dataset, *pixels, syntax);
    if (encoded.bad()) {
        fail(std::string("its pixels cannot be compressed again: ") + encoded.text());
    }
    kept.restore();
    dataset.removeAllButCurrentRepresentations();
    if (!decodesTo(dataset, wanted)) {
        fail("its pixels cannot be compressed again without loss");
    }
    dataset.updateOriginalXfer();
}

} // namespace radvex::deidentify
