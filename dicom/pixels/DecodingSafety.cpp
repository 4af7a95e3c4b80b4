#include "dicom/pixels/DecodingSafety.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "dicom/pixels/EncodedPixels.h"
#include "dicom/pixels/ImagePixelAttributes.h"
#include "dicom/pixels/JpegLsPresets.h"
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

/// As DCMTK recognizes it: the start of an image, then a frame's header, a comment or data of an application.
bool startsFrame(DcmPixelItem& fragment) {
    const Bytes bytes = bytesOf(fragment);
    return bytes.size() > 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF &&
           (bytes[3] == 0xF7 || bytes[3] == 0xFE || (bytes[3] & 0xF0) == 0xE0);
}

void endFrame(DcmPixelItem& fragment) {
    constexpr std::array<Uint8, 4> kEnd{0xFF, 0xD9, 0, 0}; // two bytes for what the decoder reads of a next scan
    const Bytes bytes = bytesOf(fragment);
    if (bytes.size() != fragment.getLength()) {
        return; // it cannot be read
    }
    std::vector<Uint8> ended(bytes.begin(), bytes.end());
    ended.insert(ended.end(), kEnd.begin(), kEnd.end());
    (void)fragment.putUint8Array(ended.data(), static_cast<unsigned long>(ended.size())); // or it stays as it is
}

/// A frame has all fragments, or one of them, or those up to the start of the next frame.
void endFrames(DcmItem& item, DcmPixelSequence& fragments) {
    if (fragments.card() < 2) { // the first one is the offset table
        return;
    }
    const unsigned long count = fragments.card() - 1;
    Sint32 declared = 0;
    (void)item.findAndGetSint32(DCM_NumberOfFrames, declared, 0, OFFalse);
    const auto frames = std::min(static_cast<unsigned long>(std::max(declared, 1)), count); // as DCMTK counts them
    const bool isOneEach = frames == count;
    DcmPixelItem* offsetTable = nullptr;
    if (frames > 1 && !isOneEach && fragments.getItem(offsetTable, 0).good() && offsetTable != nullptr) {
        (void)offsetTable->putUint8Array(nullptr, 0); // so that DCMTK looks for the starts of frames as we do
    }
    DcmPixelItem* former = nullptr;
    forEachFragment(fragments, [&](DcmPixelItem& fragment) {
        if (former != nullptr && frames > 1 && (isOneEach || startsFrame(fragment))) {
            endFrame(*former);
        }
        former = &fragment;
    });
    if (former != nullptr) {
        endFrame(*former);
    }
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

bool isSafeJpegLs(DcmPixelSequence& fragments) {
    JpegLsPresets presets;
    addFragments(fragments, presets);
    return !presets.areImpossible();
}

bool isSafeJpeg(const ImagePixelAttributes& attributes, DcmPixelSequence& fragments) {
    JpegSegments segments;
    addFragments(fragments, segments);
    segments.finish();
    // Both sizes count two bytes for a sample. The decoder does not convert RGB, so that it needs no tables for it.
    return !segments.isImpossible() && segments.largestFrame() - attributes.decodedBytes() <= kMaxMissingBytes &&
           (!segments.overrunsColourTables() || attributes.colourModel() == "RGB");
}

bool arePixelsSafeToDecode(DcmItem& item, DcmPixelData& pixels, E_TransferSyntax syntax) {
    constexpr double kMaxRatio = 1000.0; // an empty JPEG-LS frame is smaller still, but takes little memory
    constexpr double kMaxDecodedBytes = 0xFFFFFFFE;
    constexpr double kMaxSpareFragments = 8192;
    const ImagePixelAttributes attributes(item);
    const double decoded = attributes.decodedBytes();
    if (decoded > kMaxDecodedBytes || decoded - kMaxRatio * pixels.getLength(syntax) > kMaxMissingBytes) {
        return false;
    }
    DcmPixelSequence* fragments = fragmentsOf(pixels, syntax);
    if (fragments == nullptr) {
        return true; // there is nothing to decode
    }
    if (static_cast<double>(fragments->card()) > attributes.frames() + kMaxSpareFragments) {
        return false;
    }
    if (isJpegLs(syntax)) {
        return isSafeJpegLs(*fragments);
    }
    return !isJpeg(syntax) || isSafeJpeg(attributes, *fragments);
}

} // namespace

void endJpegLsFrames(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!isJpegLs(syntax)) {
        return;
    }
    for (const auto& [item, pixels] : allPixels(dataset)) {
        if (DcmPixelSequence* fragments = fragmentsOf(*pixels, syntax)) {
            endFrames(*item, *fragments);
        }
    }
}

bool isSafeToDecode(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!DcmXfer(syntax).isEncapsulated()) {
        return true;
    }
    const auto all = allPixels(dataset);
    return std::all_of(all.begin(), all.end(), [syntax](const auto& found) {
        return arePixelsSafeToDecode(*found.first, *found.second, syntax);
    });
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
