#include "guard/pixels/DecodingSafety.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "guard/pixels/EncodedPixels.h"
#include "guard/pixels/FrameFragments.h"
#include "guard/pixels/ImagePixelAttributes.h"
#include "guard/pixels/Jpeg2000Codestream.h"
#include "guard/pixels/JpegSegments.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

bool isJpeg(E_TransferSyntax syntax) { return syntax >= EXS_JPEGProcess1 && syntax <= EXS_JPEGProcess14SV1; }

bool isJpegLs(E_TransferSyntax syntax) { return syntax == EXS_JPEGLSLossless || syntax == EXS_JPEGLSLossy; }

bool isJpeg2000(E_TransferSyntax syntax) { return syntax == EXS_JPEG2000LosslessOnly || syntax == EXS_JPEG2000; }

/// The fragments in a transfer syntax; null when there are none.
DcmPixelSequence* fragmentsOf(DcmPixelData& pixels, E_TransferSyntax syntax) {
    DcmPixelSequence* fragments = nullptr;
    return pixels.getEncapsulatedRepresentation(syntax, nullptr, fragments).good() ? fragments : nullptr;
}

/// A decoder may correct NumberOfFrames to the frames that it finds, but not where the attribute is 1 or missing.
bool isSingleFrame(DcmDataset& dataset) {
    OFString frames;
    const bool hasNumber = dataset.tagExists(DCM_NumberOfFrames, OFFalse) == OFTrue;
    return !hasNumber || (dataset.findAndGetOFStringArray(DCM_NumberOfFrames, frames, OFFalse).good() && frames == "1");
}

bool holdsPixels(DcmDataset& dataset, const DcmTagKey& key) {
    DcmElement* element = nullptr;
    DcmStack stack;
    return dataset.findAndGetElement(key, element, OFFalse, OFFalse).good() && !element->isLeaf() &&
           element->search(DCM_PixelData, stack, ESM_fromHere, OFTrue).good();
}

/// Shows every fragment that can be read to a reader.
template <typename Reader>
void addFragments(DcmPixelSequence& fragments, Reader& reader) {
    forEachFragment(fragments, [&](DcmPixelItem& fragment) {
        if (const Bytes bytes = bytesOfFragment(fragment); bytes.data() != nullptr) {
            reader.add(bytes);
        }
    });
}

/// Bytes of a decoded sample, as DCMTK's decoders choose them. @param codedBits  that a JPEG stream says, or 0
double bytesOfDecodedSample(const ImagePixelAttributes& attributes, E_TransferSyntax syntax, int codedBits) {
    const double bits = attributes.bitsOfSample();
    if (isJpeg(syntax)) {
        return codedBits > 8 ? 2.0 : 1.0;
    }
    if (isJpeg2000(syntax)) {
        return bits > 8.0 || codedBits > 8 ? 2.0 : 1.0;
    }
    if (isJpegLs(syntax)) {
        return std::max<double>(bits, attributes.numberOr(8, DCM_BitsStored)) > 8.0 ? 2.0 : 1.0;
    }
    return std::max(1.0, bits / 8.0);
}

std::string problemOfJpeg(const ImagePixelAttributes& attributes, const JpegSegments& segments) {
    constexpr double kCoefficientBytes = 2.0;
    if (std::string problem = segments.problem(); !problem.empty()) {
        return problem;
    }
    const bool isTooLarge = segments.largestFrame() - kCoefficientBytes * attributes.samples() > kMaxMissingBytes;
    return isTooLarge ? "the JPEG frame is larger than the image" : "";
}

/// @param bits  receives the bits of a sample
std::string problemOfJpeg2000(DcmItem& item, DcmPixelSequence& fragments, std::size_t frames, int& bits) {
    const ImagePixelAttributes attributes(item);
    std::vector<Uint8> joined;
    for (const FrameFragments& frame : fragmentsOfFrames(item, fragments, frames)) {
        const Jpeg2000Codestream codestream(bytesOfFrame(frame, joined));
        if (!codestream.problem().empty()) {
            return codestream.problem();
        }
        if (codestream.rows() != attributes.numberOr(0, DCM_Rows) ||
            codestream.columns() != attributes.numberOr(0, DCM_Columns) ||
            codestream.components() != attributes.numberOr(0, DCM_SamplesPerPixel)) {
            return "its JPEG 2000 codestream has another size than the image";
        }
        bits = std::max(bits, codestream.precision());
    }
    return "";
}

/// Bytes that a decoder makes beyond what the compressed ones are plausible for: memory that a file of a few bytes
/// claims.
double spareBytes(const ImagePixelAttributes& attributes, E_TransferSyntax syntax, double decoded, double held,
                  double frames) {
    constexpr double kMaxRatio = 1000.0;
    constexpr double kMaxRatioOfSparse = 10000.0; // empty pictures take very few bytes
    constexpr double kMaxOfEmptyLines = 1024.0 * 1024 * 1024;
    const double lines = frames * attributes.numberOr(1, DCM_Rows);
    if (isJpegLs(syntax) && held * 8.0 >= lines && decoded <= kMaxOfEmptyLines) {
        return 0.0; // a line of one value is one bit
    }
    const bool isSparse = isJpegLs(syntax) || isJpeg2000(syntax);
    return std::max(0.0, decoded - held * (isSparse ? kMaxRatioOfSparse : kMaxRatio));
}

/// With an offset table, DCMTK counts out each frame of JPEG-LS from the first fragment.
bool takesTooManySteps(DcmPixelSequence& fragments, E_TransferSyntax syntax, double frames, double count) {
    constexpr double kMaxFragmentSteps = 1.0e9;
    DcmPixelItem* offsetTable = nullptr;
    return isJpegLs(syntax) && count != frames && count * frames > kMaxFragmentSteps &&
           fragments.getItem(offsetTable, 0).good() && offsetTable->getLength() == 4.0 * frames;
}

/// @param spare  grows by what these pixels claim
std::string problemOfPixels(DcmItem& item, DcmPixelData& pixels, E_TransferSyntax syntax, double& spare) {
    constexpr double kMaxDecodedBytes =
        0xFFFFFFFE; // DCMTK counts all frames in 32 bits, and writes behind what that gives
    DcmPixelSequence* fragments = fragmentsOf(pixels, syntax);
    if (fragments == nullptr) {
        return ""; // there is nothing to decode
    }
    const ImagePixelAttributes attributes(item);
    JpegSegments segments;
    if (isJpeg(syntax)) {
        addFragments(*fragments, segments);
        segments.finish();
        if (std::string problem = problemOfJpeg(attributes, segments); !problem.empty()) {
            return problem;
        }
    }
    int codedBits = segments.mostBits();
    // The first item is the offset table. Decoders make no more frames than there are fragments.
    const double count = std::max(1.0, static_cast<double>(fragments->card()) - 1.0);
    const double frames = std::min(attributes.frames(), count);
    if (isJpeg2000(syntax)) {
        if (std::string problem = problemOfJpeg2000(item, *fragments, static_cast<std::size_t>(frames), codedBits);
            !problem.empty()) {
            return problem;
        }
    }
    const double decoded = attributes.samplesOfFrame() * frames * bytesOfDecodedSample(attributes, syntax, codedBits);
    if (decoded > kMaxDecodedBytes) {
        return "its pixels are more than 4 GiB";
    }
    // OpenJPEG holds a frame in words of 32 bits, twice.
    const double working = isJpeg2000(syntax) ? attributes.samplesOfFrame() * 2.0 * sizeof(Sint32) : 0.0;
    spare += spareBytes(attributes, syntax, decoded + working, static_cast<double>(encodedBytes(*fragments)), frames);
    if (spare > kMaxMissingBytes) {
        return "its compressed pixels are too few for its size";
    }
    return takesTooManySteps(*fragments, syntax, frames, count) ? "its frames are in too many fragments" : "";
}

} // namespace

std::string reasonNotToDecode(DcmDataset& dataset) {
    constexpr std::size_t kMaxPictures = 5000; // DCMTK looks for each from the first item on
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!isJpeg(syntax) && !isJpegLs(syntax) && !isJpeg2000(syntax) && syntax != EXS_RLELossless) {
        return ""; // there is no decoder
    }
    const auto all = allPixels(dataset);
    if (all.size() > kMaxPictures) {
        return "it has too many pictures";
    }
    double spare = 0;
    for (const auto& [item, pixels] : all) {
        if (std::string problem = problemOfPixels(*item, *pixels, syntax, spare); !problem.empty()) {
            return problem;
        }
    }
    return "";
}

bool isChangedByDecoding(DcmDataset& dataset, const DcmTagKey& key) {
    constexpr Uint16 kFirstOverlayGroup = 0x6000;
    constexpr Uint16 kLastOverlayGroup = 0x60FF;
    const DcmTagKey written[] = {
        DCM_SamplesPerPixel, DCM_PhotometricInterpretation, DCM_PlanarConfiguration, DCM_BitsAllocated, DCM_BitsStored,
        DCM_HighBit,         DCM_LossyImageCompression};
    if (!DcmXfer(dataset.getCurrentXfer()).isEncapsulated()) {
        return false;
    }
    if (key == DCM_NumberOfFrames) {
        return !isSingleFrame(dataset);
    }
    return key == DCM_PixelData || (key.getGroup() >= kFirstOverlayGroup && key.getGroup() <= kLastOverlayGroup) ||
           std::find(std::begin(written), std::end(written), key) != std::end(written) || holdsPixels(dataset, key);
}

} // namespace radvex
