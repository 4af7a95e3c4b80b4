#include "CompressedPixels.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <span>
#include <vector>

#include "Fragments.h"
#include "PromisedPixels.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex {

namespace {

/// Looks at the marker segments of JPEG streams (ISO/IEC 10918-1 B.1) in fragments that follow each other, segments
/// that are cut in two included. Every place that looks like a segment counts, since a broken stream may be read from
/// anywhere; in compressed data the two bytes that open one do not occur.
class JpegSegments {
  public:
    /// The most memory that a frame asks for, in bytes: its coefficients, two bytes each.
    double largestFrame() const { return mLargestFrame; }
    /// A table codes differences of more than 16 bits, for which DCMTK reads beyond a table of its own.
    bool hasImpossibleTable() const { return mHasImpossibleTable; }

    void add(const Uint8* bytes, std::size_t count) {
        mWindow.insert(mWindow.end(), bytes, bytes + count);
        if (mWindow.size() > kWindow) {
            scan();
        }
    }
    /// After the last fragment.
    void finish() { scan(); }

  private:
    using Bytes = std::span<const Uint8>;
    static constexpr Uint8 kMarker = 0xFF;
    static constexpr std::size_t kLongestSegment = 2 + 0xFFFF;
    static constexpr std::size_t kWindow = std::size_t{1} << 20;

    void scan() {
        const Bytes window(mWindow);
        std::size_t place = 0;
        while (place < window.size()) {
            const void* found = std::memchr(window.data() + place, kMarker, window.size() - place);
            if (found == nullptr) {
                break;
            }
            place = static_cast<std::size_t>(static_cast<const Uint8*>(found) - window.data());
            look(window.subspan(place));
            ++place;
        }
        // A segment that goes on in the next fragment is looked at again.
        const std::size_t kept = std::min(mWindow.size(), kLongestSegment);
        mWindow.erase(mWindow.begin(), mWindow.end() - static_cast<std::ptrdiff_t>(kept));
    }

    void look(Bytes rest) {
        constexpr std::size_t kHeader = 4; // marker and length, which counts itself
        constexpr Uint8 kTables = 0xC4;
        constexpr Uint8 kReserved = 0xC8;
        constexpr Uint8 kArithmeticConditions = 0xCC;
        if (rest.size() < kHeader || rest[1] < 0xC0 || rest[1] > 0xCF || rest[1] == kReserved ||
            rest[1] == kArithmeticConditions) {
            return;
        }
        const std::size_t length = static_cast<std::size_t>(rest[2]) << 8 | rest[3];
        if (length < 2 || rest.size() - 2 < length) {
            return;
        }
        const Bytes content = rest.subspan(kHeader, length - 2);
        rest[1] == kTables ? lookAtTables(content) : lookAtFrame(content);
    }

    /// B.2.2: precision, lines, samples a line, components, and three bytes for each of these.
    void lookAtFrame(Bytes content) {
        constexpr double kCoefficientBytes = 2.0;
        if (content.size() >= 6 && content.size() == 6 + std::size_t{3} * content[5]) {
            const auto word = [content](std::size_t place) { return 256.0 * content[place] + content[place + 1]; };
            mLargestFrame = std::max(mLargestFrame, word(1) * word(3) * content[5] * kCoefficientBytes);
        }
    }

    /// B.2.4.2: class and number, how many codes of each of 16 lengths, what they stand for; and the next table.
    void lookAtTables(Bytes content) {
        constexpr std::size_t kCounts = 17;
        constexpr Uint8 kForCoefficients = 0x10;
        constexpr Uint8 kMostBits = 16;
        while (content.size() >= kCounts) {
            const std::size_t codes = std::accumulate(content.begin() + 1, content.begin() + kCounts, std::size_t{0});
            if (codes > content.size() - kCounts) {
                return;
            }
            const Bytes values = content.subspan(kCounts, codes);
            mHasImpossibleTable = mHasImpossibleTable || ((content[0] & kForCoefficients) == 0 &&
                                                          std::any_of(values.begin(), values.end(),
                                                                      [](Uint8 bits) { return bits > kMostBits; }));
            content = content.subspan(kCounts + codes);
        }
    }

    double mLargestFrame = 0;
    bool mHasImpossibleTable = false;
    std::vector<Uint8> mWindow{};
};

bool isJpeg(E_TransferSyntax syntax) { return syntax >= EXS_JPEGProcess1 && syntax <= EXS_JPEGProcess14SV1; }

JpegSegments segmentsOf(DcmPixelData& pixels, E_TransferSyntax syntax) {
    JpegSegments segments;
    DcmPixelSequence* fragments = nullptr;
    if (pixels.getEncapsulatedRepresentation(syntax, nullptr, fragments).bad() || fragments == nullptr) {
        return segments;
    }
    forEachFragment(*fragments, [&](DcmPixelItem& fragment) {
        Uint8* bytes = nullptr;
        if (fragment.getUint8Array(bytes).good() && bytes != nullptr) {
            segments.add(bytes, fragment.getLength());
        }
    });
    segments.finish();
    return segments;
}

/// Decoders count the frames that are there; of one frame that is there is one.
bool saysOneFrame(DcmDataset& dataset) {
    OFString frames;
    const bool isThere = dataset.tagExists(DCM_NumberOfFrames, OFFalse) == OFTrue;
    return !isThere || (dataset.findAndGetOFStringArray(DCM_NumberOfFrames, frames, OFFalse).good() && frames == "1");
}

bool holdsPixels(DcmDataset& dataset, const DcmTagKey& key) {
    DcmElement* element = nullptr;
    DcmStack stack;
    return dataset.findAndGetElement(key, element, OFFalse, OFFalse).good() && !element->isLeaf() &&
           element->search(DCM_PixelData, stack, ESM_fromHere, OFTrue).good();
}

bool misleadsTheDecoder(DcmItem& item, DcmPixelData& pixels, E_TransferSyntax syntax) {
    constexpr double kMostPacked = 1000.0;      // an empty JPEG-LS frame packs better, but does not come to much
    constexpr double kMostDecoded = 0xFFFFFFFE; // DCMTK counts all frames in 32 bits, and writes behind what that gives
    const double decoded = decodedBytes(item);
    if (decoded > kMostDecoded || decoded - kMostPacked * pixels.getLength(syntax) > kMaxMissingBytes) {
        return true;
    }
    if (!isJpeg(syntax)) {
        return false;
    }
    const JpegSegments segments = segmentsOf(pixels, syntax);
    return segments.hasImpossibleTable() || segments.largestFrame() - promisedBytes(item) > kMaxMissingBytes;
}

} // namespace

bool misleadsTheDecoder(DcmDataset& dataset) {
    const E_TransferSyntax syntax = dataset.getCurrentXfer();
    if (!DcmXfer(syntax).isEncapsulated()) {
        return false;
    }
    DcmStack stack;
    stack.push(&dataset);
    while (dataset.search(DCM_PixelData, stack, ESM_afterStackTop, OFTrue).good()) {
        auto* pixels = dynamic_cast<DcmPixelData*>(stack.top());
        auto* item = dynamic_cast<DcmItem*>(stack.elem(1)); // what the pixels stand in
        if (item != nullptr && pixels != nullptr && misleadsTheDecoder(*item, *pixels, syntax)) {
            return true;
        }
    }
    return false;
}

bool isChangedByDecoding(DcmDataset& dataset, const DcmTagKey& key) {
    constexpr Uint16 kOverlayGroups = 0x6000;
    constexpr Uint16 kLastOverlayGroup = 0x60FF;
    const DcmTagKey written[] = {
        DCM_SamplesPerPixel, DCM_PhotometricInterpretation, DCM_PlanarConfiguration, DCM_BitsAllocated, DCM_BitsStored,
        DCM_HighBit,         DCM_LossyImageCompression};
    if (!DcmXfer(dataset.getCurrentXfer()).isEncapsulated()) {
        return false;
    }
    if (key == DCM_NumberOfFrames) {
        return !saysOneFrame(dataset);
    }
    return key == DCM_PixelData || (key.getGroup() >= kOverlayGroups && key.getGroup() <= kLastOverlayGroup) ||
           std::find(std::begin(written), std::end(written), key) != std::end(written) || holdsPixels(dataset, key);
}

} // namespace radvex
