#include "dicom/pixels/JpegSegments.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace radvex {

namespace {

using JpegBytes = std::span<const Uint8>;

constexpr Uint8 kMarker = 0xFF;
constexpr std::size_t kSegmentHeader = 4; // marker and length, which counts itself
constexpr const char* kImpossibleTable = "a JPEG table is for differences that there cannot be";
constexpr std::size_t kLongestSegment = 2 + 0xFFFF;

// Kinds of segments by the second byte of their marker (table B.1).
constexpr Uint8 kFirstWithLength = 0xC0;
constexpr Uint8 kLosslessFrame = 0xC3;
constexpr Uint8 kHuffmanTables = 0xC4;
constexpr Uint8 kReservedFrame = 0xC8;
constexpr Uint8 kArithmeticConditions = 0xCC;
constexpr Uint8 kLastFrame = 0xCF;
constexpr Uint8 kFirstRestart = 0xD0;
constexpr Uint8 kEndOfImage = 0xD9;
constexpr Uint8 kStartOfScan = 0xDA;
constexpr Uint8 kNumberOfLines = 0xDC;
constexpr Uint8 kFirstOfApplications = 0xE0;
constexpr Uint8 kLastOfApplications = 0xEF;
constexpr Uint8 kComment = 0xFE;

bool isTablesOrFrame(Uint8 kind) {
    return kind >= kFirstWithLength && kind <= kLastFrame && kind != kReservedFrame && kind != kArithmeticConditions;
}

bool isSkipped(Uint8 kind) {
    return kind == kArithmeticConditions || kind == kNumberOfLines || kind == kComment ||
           (kind >= kFirstOfApplications && kind <= kLastOfApplications);
}

bool hasLength(Uint8 kind) {
    return kind >= kFirstWithLength && kind <= kComment && !(kind >= kFirstRestart && kind <= kEndOfImage);
}

/// The first place from `place` on that may open a segment; the size when there is none.
std::size_t nextMarker(JpegBytes bytes, std::size_t place) {
    if (place >= bytes.size()) {
        return bytes.size();
    }
    const void* found = std::memchr(bytes.data() + place, kMarker, bytes.size() - place);
    return found == nullptr ? bytes.size() : static_cast<std::size_t>(static_cast<const Uint8*>(found) - bytes.data());
}

/// The length that stands behind a marker; 0 when it is not there.
std::size_t statedLength(JpegBytes segment) {
    return segment.size() < kSegmentHeader ? 0 : static_cast<std::size_t>(segment[2]) << 8 | segment[3];
}

} // namespace

std::string JpegSegments::problem() const {
    if (mProblem == nullptr && mHasLossyFrame && mHasWidestDifference) {
        return kImpossibleTable;
    }
    return mProblem == nullptr ? "" : mProblem;
}

void JpegSegments::add(Bytes fragment) {
    constexpr std::size_t kWindow = std::size_t{1} << 20;
    if (mIsCut) {
        mStarts.push_back(mWindow.size());
    }
    const Bytes rest = mIsCut ? fragment : fragment.subspan(walk(fragment));
    mWindow.insert(mWindow.end(), rest.begin(), rest.end());
    if (mWindow.size() > kWindow) {
        scanWindow();
    }
}

/// Goes through a fragment. @return its size, or the place of the first segment that it does not hold whole
std::size_t JpegSegments::walk(Bytes fragment) {
    std::size_t place = nextMarker(fragment, 0);
    while (place < fragment.size()) {
        const Bytes rest = fragment.subspan(place);
        const std::size_t length = statedLength(rest);
        if (rest.size() >= 2 && rest[1] == kMarker) { // may be repeated in front of a marker
            ++place;
        } else if (rest.size() >= 2 && !hasLength(rest[1])) {
            place += 2;
        } else if (length >= 2 && length <= rest.size() - 2) {
            look(rest);
            place += 2 + length;
        } else {
            mIsCut = true;
            return place;
        }
        place = nextMarker(fragment, place);
    }
    return fragment.size();
}

void JpegSegments::scanWindow() {
    const Bytes window(mWindow);
    std::size_t place = nextMarker(window, 0);
    while (place < window.size() && mProblem == nullptr) {
        note(isCutBadly(place), "a JPEG segment is cut into fragments as its decoder cannot read it");
        look(window.subspan(place));
        place = nextMarker(window, place + 1);
    }
    // A segment that goes on in the next fragment is looked at again.
    const std::size_t done = mWindow.size() - std::min(mWindow.size(), kLongestSegment);
    mWindow.erase(mWindow.begin(), mWindow.begin() + static_cast<std::ptrdiff_t>(done));
    std::erase_if(mStarts, [done](std::size_t start) { return start <= done; });
    std::for_each(mStarts.begin(), mStarts.end(), [done](std::size_t& start) { start -= done; });
}

/// How many fragments start behind a place and before an end.
std::size_t JpegSegments::cutsBetween(std::size_t place, std::size_t end) const {
    return static_cast<std::size_t>(std::lower_bound(mStarts.begin(), mStarts.end(), end) -
                                    std::upper_bound(mStarts.begin(), mStarts.end(), place));
}

bool JpegSegments::isCutBadly(std::size_t place) const {
    constexpr std::size_t kReadOfSkipped = 14; // behind the length
    const Bytes segment = Bytes(mWindow).subspan(place);
    if (segment.size() < 2) {
        return false;
    }
    const std::size_t end = place + 2 + std::max<std::size_t>(2, statedLength(segment));
    if (isTablesOrFrame(segment[1])) {
        return cutsBetween(place, end) >= 2;
    }
    const bool endsWithFragment = end == mWindow.size() || std::binary_search(mStarts.begin(), mStarts.end(), end);
    return isSkipped(segment[1]) && ((endsWithFragment && cutsBetween(place, end) >= 1) ||
                                     cutsBetween(place, place + kSegmentHeader + kReadOfSkipped) >= 2);
}

void JpegSegments::look(Bytes segment) {
    constexpr std::size_t kMostLookedAt = std::size_t{256} << 20;
    if (segment.size() >= 2 && segment[1] == kStartOfScan) {
        countScan();
    }
    if (segment.size() < kSegmentHeader || !isTablesOrFrame(segment[1])) {
        return;
    }
    // Decoders take table after table of a segment that is not there whole.
    const std::size_t length = std::max<std::size_t>(2, statedLength(segment));
    const Bytes content = segment.subspan(kSegmentHeader, std::min(length - 2, segment.size() - kSegmentHeader));
    mLookedAt += content.size();
    note(mLookedAt > kMostLookedAt, "the JPEG stream has too many segments");
    segment[1] == kHuffmanTables ? lookAtTables(content) : lookAtFrame(segment[1], content);
}

/// B.2.2: precision, lines, samples a line, components, and three bytes for each of these.
void JpegSegments::lookAtFrame(Uint8 kind, Bytes content) {
    constexpr double kCoefficientBytes = 2.0;
    constexpr Uint8 kMostComponents = 4;
    if (content.size() < 6 || content.size() != 6 + std::size_t{3} * content[5]) {
        return;
    }
    mMostBits = std::max<int>(mMostBits, content[0]);
    const Uint8 components = content[5];
    const auto word = [content](std::size_t place) { return 256.0 * content[place] + content[place + 1]; };
    mSamples = word(1) * word(3) * components;
    mScans = 0;
    mLargestFrame = std::max(mLargestFrame, mSamples * kCoefficientBytes);
    note(components > kMostComponents, "the JPEG frame has more than four components");
    mHasLossyFrame = mHasLossyFrame || kind != kLosslessFrame;
}

void JpegSegments::countScan() {
    constexpr double kUsualScans = 16;
    constexpr double kMostVisits = 268435456.0; // of a sample
    ++mScans;
    note(mScans > kUsualScans && mScans * mSamples > kMostVisits, "the JPEG frame has too many scans");
}

/// B.2.4.2: class and number, how many codes of each of 16 lengths, what they stand for; and the next table.
void JpegSegments::lookAtTables(Bytes content) {
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
        const Uint8 widest =
            isForCoefficients || values.empty() ? Uint8{0} : *std::max_element(values.begin(), values.end());
        mHasWidestDifference = mHasWidestDifference || widest == kMostBits;
        note(widest > kMostBits || (content[0] & ~kForCoefficients) > kLastNumber, kImpossibleTable);
        content = content.subspan(kCounts + codes);
    }
}

} // namespace radvex
