#include "dicom/pixels/JpegLsFrames.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dicom/pixels/Fragments.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

/// The end of an image, and room for what the decoder reads of a next scan.
constexpr std::array<Uint8, 4> kEnd{0xFF, 0xD9, 0, 0};

Bytes bytesOf(DcmPixelItem& fragment) {
    Uint8* bytes = nullptr;
    return fragment.getUint8Array(bytes).good() && bytes != nullptr ? Bytes(bytes, fragment.getLength()) : Bytes();
}

/// As DCMTK recognizes it: the start of an image, and a frame, a comment or bytes of an application.
bool startsFrame(DcmPixelItem& fragment) {
    const Bytes bytes = bytesOf(fragment);
    return bytes.size() > 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF &&
           (bytes[3] == 0xF7 || bytes[3] == 0xFE || (bytes[3] & 0xF0) == 0xE0);
}

void endFrame(DcmPixelItem& fragment) {
    const Bytes bytes = bytesOf(fragment);
    if (bytes.size() != fragment.getLength()) {
        return; // it could not be read
    }
    std::vector<Uint8> ended(bytes.begin(), bytes.end());
    ended.insert(ended.end(), kEnd.begin(), kEnd.end());
    (void)fragment.putUint8Array(ended.data(), static_cast<unsigned long>(ended.size())); // or it stays as it is
}

/// As DCMTK counts them: no more than there are fragments.
unsigned long decodedFrames(DcmItem& item, unsigned long fragments) {
    Sint32 frames = 0;
    (void)item.findAndGetSint32(DCM_NumberOfFrames, frames, 0, OFFalse);
    return std::clamp<unsigned long>(frames < 1 ? 1 : static_cast<unsigned long>(frames), 1, fragments);
}

/// Then DCMTK looks for the starts of frames, as we do.
void forgetOffsets(DcmPixelSequence& fragments) {
    DcmPixelItem* table = nullptr;
    if (fragments.getItem(table, 0).good() && table != nullptr) {
        (void)table->putUint8Array(nullptr, 0);
    }
}

/// A frame has all fragments, or one, or those up to the start of the next frame.
void endFrames(DcmItem& item, DcmPixelSequence& fragments) {
    if (fragments.card() < 2) { // of which the first is the offset table
        return;
    }
    const unsigned long count = fragments.card() - 1;
    const unsigned long frames = decodedFrames(item, count);
    const bool isOneEach = frames == count;
    if (frames > 1 && !isOneEach) {
        forgetOffsets(fragments);
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

} // namespace

void endJpegLsFrames(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (syntax != EXS_JPEGLSLossless && syntax != EXS_JPEGLSLossy) {
        return;
    }
    DcmStack stack;
    stack.push(&dataset);
    while (dataset.search(DCM_PixelData, stack, ESM_afterStackTop, OFTrue).good()) {
        auto* pixels = dynamic_cast<DcmPixelData*>(stack.top());
        auto* item = dynamic_cast<DcmItem*>(stack.elem(1)); // what the pixels stand in
        DcmPixelSequence* fragments = nullptr;
        if (pixels != nullptr && item != nullptr &&
            pixels->getEncapsulatedRepresentation(syntax, nullptr, fragments).good() && fragments != nullptr) {
            endFrames(*item, *fragments);
        }
    }
}

} // namespace radvex
