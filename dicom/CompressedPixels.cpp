#include "CompressedPixels.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "PromisedPixels.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex {

namespace {

/// Looks for the frame headers of JPEG streams (ISO/IEC 10918-1 B.2.2) in fragments that follow each other, a header
/// that is cut in two included. Inside compressed data the two bytes that open one do not occur.
class FrameHeaders {
  public:
    /// The most memory that a frame asks for, in bytes: its coefficients, two bytes each.
    double largest() const { return mLargest; }

    void scan(const Uint8* bytes, std::size_t count) {
        scanSeam(bytes, count);
        std::size_t place = 0;
        while (count >= kHeaderBytes && place <= count - kHeaderBytes) {
            const void* found = std::memchr(bytes + place, kMarker, count - kHeaderBytes + 1 - place);
            if (found == nullptr) {
                break;
            }
            place = static_cast<std::size_t>(static_cast<const Uint8*>(found) - bytes);
            look(bytes + place);
            ++place;
        }
        keepTail(bytes, count);
    }

  private:
    static constexpr Uint8 kMarker = 0xFF;
    static constexpr std::size_t kHeaderBytes = 10; ///< marker, length, precision, rows, columns, components

    void look(const Uint8* header) {
        constexpr Uint8 kHuffmanTable = 0xC4;
        constexpr Uint8 kReserved = 0xC8;
        constexpr Uint8 kArithmeticTable = 0xCC;
        constexpr double kCoefficientBytes = 2.0;
        const Uint8 kind = header[1];
        if (kind < 0xC0 || kind > 0xCF || kind == kHuffmanTable || kind == kReserved || kind == kArithmeticTable) {
            return;
        }
        const auto word = [header](int place) { return 256.0 * header[place] + header[place + 1]; };
        mLargest = std::max(mLargest, word(5) * word(7) * header[9] * kCoefficientBytes);
    }

    /// Headers that start in the fragments before.
    void scanSeam(const Uint8* bytes, std::size_t count) {
        std::array<Uint8, 2 * kHeaderBytes> seam{};
        const std::size_t head = std::min(count, kHeaderBytes - 1);
        std::memcpy(seam.data(), mTail.data(), mTailBytes);
        std::memcpy(seam.data() + mTailBytes, bytes, head);
        for (std::size_t place = 0; place < mTailBytes && place + kHeaderBytes <= mTailBytes + head; ++place) {
            if (seam[place] == kMarker) {
                look(seam.data() + place);
            }
        }
    }

    void keepTail(const Uint8* bytes, std::size_t count) {
        std::array<Uint8, 2 * kHeaderBytes> both{};
        const std::size_t added = std::min(count, kHeaderBytes - 1);
        std::memcpy(both.data(), mTail.data(), mTailBytes);
        std::memcpy(both.data() + mTailBytes, bytes + (count - added), added);
        const std::size_t kept = std::min(mTailBytes + added, kHeaderBytes - 1);
        std::memcpy(mTail.data(), both.data() + (mTailBytes + added - kept), kept);
        mTailBytes = kept;
    }

    double mLargest = 0;
    std::array<Uint8, kHeaderBytes> mTail{};
    std::size_t mTailBytes = 0;
};

bool isJpeg(E_TransferSyntax syntax) { return syntax >= EXS_JPEGProcess1 && syntax <= EXS_JPEGProcess14SV1; }

double largestJpegFrame(DcmPixelData& pixels, E_TransferSyntax syntax) {
    DcmPixelSequence* fragments = nullptr;
    if (pixels.getEncapsulatedRepresentation(syntax, nullptr, fragments).bad() || fragments == nullptr) {
        return 0;
    }
    FrameHeaders headers;
    for (unsigned long index = 1; index < fragments->card(); ++index) { // the first is the offset table
        DcmPixelItem* fragment = nullptr;
        Uint8* bytes = nullptr;
        if (fragments->getItem(fragment, index).good() && fragment->getUint8Array(bytes).good() && bytes != nullptr) {
            headers.scan(bytes, fragment->getLength());
        }
    }
    return headers.largest();
}

bool unpacksToTooMuch(DcmItem& item, DcmPixelData& pixels, E_TransferSyntax syntax) {
    constexpr double kMostPacked = 1000.0; // an empty JPEG-LS frame packs better, but does not come to much
    const double promised = promisedBytes(item);
    if (promised - kMostPacked * pixels.getLength(syntax) > kMaxMissingBytes) {
        return true;
    }
    return isJpeg(syntax) && largestJpegFrame(pixels, syntax) - promised > kMaxMissingBytes;
}

} // namespace

bool unpacksToTooMuch(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!DcmXfer(syntax).isEncapsulated()) {
        return false;
    }
    DcmStack stack;
    stack.push(&dataset);
    while (dataset.search(DCM_PixelData, stack, ESM_afterStackTop, OFTrue).good()) {
        auto* pixels = dynamic_cast<DcmPixelData*>(stack.top());
        auto* item = dynamic_cast<DcmItem*>(stack.elem(1)); // what the pixels stand in
        if (item != nullptr && pixels != nullptr && unpacksToTooMuch(*item, *pixels, syntax)) {
            return true;
        }
    }
    return false;
}

} // namespace radvex
