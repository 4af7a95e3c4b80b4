#include "dicom/pixels/DecodingSafety.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dicom/pixels/EncodedPixels.h"
#include "dicom/pixels/ImagePixelAttributes.h"
#include "dicom/pixels/JpegSegments.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

bool isJpeg(E_TransferSyntax syntax) { return syntax >= EXS_JPEGProcess1 && syntax <= EXS_JPEGProcess14SV1; }

bool isJpegLs(E_TransferSyntax syntax) { return syntax == EXS_JPEGLSLossless || syntax == EXS_JPEGLSLossy; }

/// Every Pixel Data of a dataset and of its nested items, each with the item around it.
std::vector<std::pair<DcmItem*, DcmPixelData*>> allPixels(DcmDataset& dataset) {
    std::vector<std::pair<DcmItem*, DcmPixelData*>> all;
    DcmStack stack;
    stack.push(&dataset);
    while (dataset.search(DCM_PixelData, stack, ESM_afterStackTop, OFTrue).good()) {
        auto* pixels = dynamic_cast<DcmPixelData*>(stack.top());
        auto* item = dynamic_cast<DcmItem*>(stack.elem(1));
        if (item != nullptr && pixels != nullptr) {
            all.emplace_back(item, pixels);
        }
    }
    return all;
}

/// The fragments in a transfer syntax; null when there are none.
DcmPixelSequence* fragmentsOf(DcmPixelData& pixels, E_TransferSyntax syntax) {
    DcmPixelSequence* fragments = nullptr;
    return pixels.getEncapsulatedRepresentation(syntax, nullptr, fragments).good() ? fragments : nullptr;
}

/// Empty when they cannot be read.
Bytes bytesOf(DcmPixelItem& fragment) {
    Uint8* bytes = nullptr;
    return fragment.getUint8Array(bytes).good() && bytes != nullptr ? Bytes(bytes, fragment.getLength()) : Bytes();
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
        if (const Bytes bytes = bytesOf(fragment); bytes.data() != nullptr) {
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
    if (isJpegLs(syntax)) {
        return std::max<double>(bits, attributes.numberOr(8, DCM_BitsStored)) > 8.0 ? 2.0 : 1.0;
    }
    return std::max(1.0, bits / 8.0);
}

std::string problemOfJpeg(const ImagePixelAttributes& attributes, const JpegSegments& segments) {
    constexpr double kCoefficientBytes = 2.0;
    if (const std::string problem = segments.problem(); !problem.empty()) {
        return problem;
    }
    const bool isTooLarge = segments.largestFrame() - kCoefficientBytes * attributes.samples() > kMaxMissingBytes;
    return isTooLarge ? "the JPEG frame is larger than the image" : "";
}

std::string problemOfSizes(const ImagePixelAttributes& attributes, double sampleBytes, double held, double packed,
                           double fragments) {
    constexpr double kMaxDecodedBytes =
        0xFFFFFFFE;                     // DCMTK counts all frames in 32 bits, and writes behind what that gives
    constexpr double kMaxFragmentSteps = 1.0e9; // with an offset table each frame is counted out from the first fragment
    const double decoded = attributes.samples() * sampleBytes;
    if (decoded > kMaxDecodedBytes) {
        return "its pixels are more than 4 GiB";
    }
    if (decoded - packed * held > kMaxMissingBytes) {
        return "its compressed pixels are too few for its size";
    }
    const bool isCounted = fragments != attributes.frames() && fragments * attributes.frames() > kMaxFragmentSteps;
    return isCounted ? "its frames are in too many fragments" : "";
}

std::string problemOfPixels(DcmItem& item, DcmPixelData& pixels, E_TransferSyntax syntax) {
    constexpr double kMaxRatio = 1000.0;
    constexpr double kMaxRatioOfJpegLs = 10000.0; // a frame of one value is some tens of bytes
    DcmPixelSequence* fragments = fragmentsOf(pixels, syntax);
    if (fragments == nullptr) {
        return ""; // there is nothing to decode
    }
    const ImagePixelAttributes attributes(item);
    JpegSegments segments;
    if (isJpeg(syntax)) {
        addFragments(*fragments, segments);
        segments.finish();
        if (const std::string problem = problemOfJpeg(attributes, segments); !problem.empty()) {
            return problem;
        }
    }
    const double sampleBytes = bytesOfDecodedSample(attributes, syntax, segments.mostBits());
    const double count = std::max(1.0, static_cast<double>(fragments->card())) - 1.0; // the first is the offset table
    return problemOfSizes(attributes, sampleBytes, pixels.getLength(syntax),
                          isJpegLs(syntax) ? kMaxRatioOfJpegLs : kMaxRatio, count);
}

} // namespace

std::string reasonNotToDecode(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!DcmXfer(syntax).isEncapsulated()) {
        return "";
    }
    for (const auto& [item, pixels] : allPixels(dataset)) {
        if (const std::string problem = problemOfPixels(*item, *pixels, syntax); !problem.empty()) {
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
