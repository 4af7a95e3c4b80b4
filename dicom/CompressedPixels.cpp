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

/// Looks at the marker segments of JPEG streams (ISO/IEC 10918-1 B.1) in fragments that follow each other, as a decoder
/// comes by them: from segment to segment, and through compressed data, in which the two bytes that open one do not
/// occur. Behind a segment that its fragment does not hold whole, every place counts that looks like one: a decoder may
/// go on from anywhere there.
class JpegSegments {
  public:
    /// The most memory that a frame asks for, in bytes: its coefficients, two bytes each.
    double largestFrame() const { return mLargestFrame; }
    /// A table codes differences of more than 16 bits, or has a number over 3: DCMTK leaves a table of its own for
    /// those.
    bool hasImpossibleTable() const { return mHasImpossibleTable; }

    void add(const Uint8* bytes, std::size_t count) {
        Bytes rest(bytes, count);
        if (!mIsCut) {
            rest = rest.subspan(walk(rest));
        }
        mWindow.insert(mWindow.end(), rest.begin(), rest.end());
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

    /// Kinds of segments by the second byte of their marker (table B.1).
    static bool isTablesOrFrame(Uint8 kind) {
        constexpr Uint8 kReserved = 0xC8;
        constexpr Uint8 kArithmeticConditions = 0xCC;
        return kind >= 0xC0 && kind <= 0xCF && kind != kReserved && kind != kArithmeticConditions;
    }
    static bool hasLength(Uint8 kind) {
        constexpr Uint8 kArithmeticConditions = 0xCC;
        constexpr Uint8 kComment = 0xFE;
        return isTablesOrFrame(kind) || kind == kArithmeticConditions || (kind >= 0xDA && kind <= 0xDD) ||
               (kind >= 0xE0 && kind <= 0xEF) || kind == kComment;
    }

    /// Goes through a fragment. @return its size, or the place of the first segment that it does not hold whole
    std::size_t walk(Bytes fragment) {
        std::size_t place = 0;
        while (place < fragment.size()) {
            const void* found = std::memchr(fragment.data() + place, kMarker, fragment.size() - place);
            if (found == nullptr) {
                break;
            }
            place = static_cast<std::size_t>(static_cast<const Uint8*>(found) - fragment.data());
            const Bytes rest = fragment.subspan(place);
            if (rest.size() >= 2 && rest[1] == kMarker) { // may be repeated in front of a marker
                ++place;
            } else if (rest.size() >= 2 && !hasLength(rest[1])) {
                place += 2;
            } else if (const std::size_t length = lengthOf(rest); length > 0) {
                look(rest);
                place += 2 + length;
            } else {
                mIsCut = true;
                return place;
            }
        }
        return fragment.size();
    }

    /// Of a segment behind its marker; 0 when it is not there whole.
    static std::size_t lengthOf(Bytes rest) {
        constexpr std::size_t kHeader = 4; // marker and length, which counts itself
        const std::size_t length = rest.size() < kHeader ? 0 : static_cast<std::size_t>(rest[2]) << 8 | rest[3];
        return length < 2 || rest.size() - 2 < length ? 0 : length;
    }

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
        constexpr Uint8 kTables = 0xC4;
        constexpr std::size_t kHeader = 4; // marker and length, which counts itself
        if (rest.size() < kHeader || !isTablesOrFrame(rest[1])) {
            return;
        }
        // Decoders take table after table of a segment that is not there whole.
        const std::size_t length = std::max<std::size_t>(2, static_cast<std::size_t>(rest[2]) << 8 | rest[3]);
        const Bytes content = rest.subspan(kHeader, std::min(length - 2, rest.size() - kHeader));
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
        constexpr Uint8 kLastNumber = 3;
        while (content.size() >= kCounts) {
            const std::size_t codes = std::accumulate(content.begin() + 1, content.begin() + kCounts, std::size_t{0});
            if (codes > content.size() - kCounts) {
                return;
            }
            const Bytes values = content.subspan(kCounts, codes);
            const bool isForCoefficients = (content[0] & kForCoefficients) != 0;
            const bool isTooWide = !isForCoefficients && std::any_of(values.begin(), values.end(),
                                                                     [](Uint8 bits) { return bits > kMostBits; });
            mHasImpossibleTable = mHasImpossibleTable || isTooWide || (content[0] & ~kForCoefficients) > kLastNumber;
            content = content.subspan(kCounts + codes);
        }
    }

    bool mIsCut = false; ///< a segment was not held whole by its fragment
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
