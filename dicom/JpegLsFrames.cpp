#include "JpegLsFrames.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "Fragments.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;
constexpr std::array<Uint8, 2> kStart{0xFF, 0xD8};
constexpr std::array<Uint8, 2> kEnd{0xFF, 0xD9};

bool startsWith(Bytes bytes, const std::array<Uint8, 2>& marker) {
    return bytes.size() >= marker.size() && std::equal(marker.begin(), marker.end(), bytes.begin());
}

/// With a byte behind it, or none: fragments have even lengths (PS3.5 A.4).
bool endsInMarker(Bytes bytes) {
    return (bytes.size() >= 2 && startsWith(bytes.last(2), kEnd)) ||
           (bytes.size() >= 3 && startsWith(bytes.last(3), kEnd));
}

Bytes bytesOf(DcmPixelItem& fragment) {
    Uint8* bytes = nullptr;
    return fragment.getUint8Array(bytes).good() && bytes != nullptr ? Bytes(bytes, fragment.getLength()) : Bytes();
}

void endFrame(DcmPixelItem& fragment) {
    const Bytes bytes = bytesOf(fragment);
    if (bytes.empty() || endsInMarker(bytes)) {
        return;
    }
    std::vector<Uint8> ended(bytes.begin(), bytes.end());
    ended.insert(ended.end(), kEnd.begin(), kEnd.end());
    (void)fragment.putUint8Array(ended.data(), static_cast<unsigned long>(ended.size())); // or it stays as it is
}

/// A frame may have several fragments; its last one is followed by the start of the next frame, or by nothing.
void endFrames(DcmPixelSequence& fragments) {
    DcmPixelItem* former = nullptr;
    forEachFragment(fragments, [&](DcmPixelItem& fragment) {
        if (former != nullptr && startsWith(bytesOf(fragment), kStart)) {
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
        DcmPixelSequence* fragments = nullptr;
        if (pixels != nullptr && pixels->getEncapsulatedRepresentation(syntax, nullptr, fragments).good() &&
            fragments != nullptr) {
            endFrames(*fragments);
        }
    }
}

} // namespace radvex
