#include "guard/pixels/JpegSegments.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

namespace radvex {

namespace {

using JpegBytes = std::span<const Uint8>;

constexpr Uint8 kMarker = 0xFF;
constexpr std::size_t kSegmentHeader = 4; // marker and length, which counts itself
constexpr const char* kImpossibleTable = "a JPEG table is for differences that there cannot be";
constexpr std::size_t kLongestSegment = 2 + 0xFFFF;
constexpr std::size_t kReadBytesOfSkipped = 14; // after the length
constexpr const char* kCutHarmfully = "a JPEG segment is cut into fragments as its decoder cannot read it";

// The kind of a segment is the second byte of its marker (table B.1).
constexpr Uint8 kFirstWithLength = 0xC0;
constexpr Uint8 kLosslessFrame = 0xC3;
constexpr Uint8 kHuffmanTables = 0xC4;
constexpr Uint8 kReservedFrame = 0xC8;
constexpr Uint8 kArithmeticConditions = 0xCC;
constexpr Uint8 kLastFrame = 0xCF;
constexpr Uint8 kFirstRestart = 0xD0;
constexpr Uint8 kStartOfImage = 0xD8;
constexpr Uint8 kEndOfImage = 0xD9;
constexpr Uint8 kStartOfScan = 0xDA;
constexpr Uint8 kNumberOfLines = 0xDC;
constexpr Uint8 kFirstOfApplications = 0xE0;
constexpr Uint8 kLastOfApplications = 0xEF;
constexpr Uint8 kComment = 0xFE;

bool isTablesOrFrame(Uint8 kind) {
    return kind >= kFirstWithLength && kind <= kLastFrame && kind != kReservedFrame && kind != kArithmeticConditions;
}

bool isOfApplications(Uint8 kind) {
    return kind == kComment || (kind >= kFirstOfApplications && kind <= kLastOfApplications);
}

bool isSkipped(Uint8 kind) { return kind == kArithmeticConditions || kind == kNumberOfLines || isOfApplications(kind); }

bool hasLength(Uint8 kind) {
    return kind >= kFirstWithLength && kind <= kComment && !(kind >= kFirstRestart && kind <= kEndOfImage);
}

/// The offset of the next byte that may open a segment, from `offset` on; the size when there is none.
std::size_t nextMarker(JpegBytes bytes, std::size_t offset) {
    if (offset >= bytes.size()) {
        return bytes.size();
    }
    const void* found = std::memchr(bytes.data() + offset, kMarker, bytes.size() - offset);
    return found == nullptr ? bytes.size() : static_cast<std::size_t>(static_cast<const Uint8*>(found) - bytes.data());
}

/// The length that follows a marker; 0 when the bytes end before it.
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
    const std::size_t skipped = std::min(mToSkip, fragment.size());
    note(mToSkip > 0 && mToSkip == fragment.size(), kCutHarmfully);
    mToSkip -= skipped;
    if (mHasCutSegment) {
        mStarts.push_back(mWindow.size());
    } else {
        resume(fragment, skipped);
    }
    const Bytes rest = mHasCutSegment ? fragment : fragment.subspan(walk(fragment, skipped));
    mWindow.insert(mWindow.end(), rest.begin(), rest.end());
    if (mWindow.size() > kWindow) {
        scanWindow();
    }
}

/// Looks at how a fragment goes on with the one before. @param skipped  its bytes that belong to a skipped segment
void JpegSegments::resume(Bytes fragment, std::size_t skipped) {
    if (fragment.empty()) {
        return;
    }
    if (std::exchange(mHasHalfMarker, false) && (fragment[0] == kMarker || hasLength(fragment[0]))) {
        mWindow.push_back(kMarker);
        mStarts.push_back(mWindow.size());
        mHasCutSegment = true;
    }
    // An offset table may let a decoder begin a frame among the bytes that are skipped.
    mHasCutSegment = mHasCutSegment || (skipped >= 2 && fragment[0] == kMarker && fragment[1] == kStartOfImage);
}

/// The bytes of a segment that a decoder skips in the fragments that follow, if it does nothing else with them; or 0.
std::size_t JpegSegments::skippedBehind(Bytes segment) const {
    const std::size_t length = statedLength(segment);
    const bool isRead = segment.size() >= kSegmentHeader + kReadBytesOfSkipped && isOfApplications(segment[1]);
    // Behind the end of a frame the next fragment begins another one.
    return isRead && !mHasEnd && length + 2 > segment.size() ? length + 2 - segment.size() : 0;
}

/// Inspects the segments of a fragment. @return its size, or the offset of the first segment that it holds only in part
std::size_t JpegSegments::walk(Bytes fragment, std::size_t first) {
    mHasEnd = false;
    std::size_t offset = nextMarker(fragment, first);
    while (offset < fragment.size()) {
        const Bytes rest = fragment.subspan(offset);
        const std::size_t length = statedLength(rest);
        if (rest.size() == 1) {
            mHasHalfMarker = true;
            return fragment.size();
        }
        if (rest[1] == kMarker) { // FF may be repeated before a marker
            ++offset;
        } else if (!hasLength(rest[1])) {
            mHasEnd = mHasEnd || rest[1] == kEndOfImage;
            offset += 2;
        } else if (length >= 2 && length <= rest.size() - 2) {
            inspect(rest);
            offset += 2 + length;
        } else if (mToSkip = skippedBehind(rest); mToSkip > 0) {
            return fragment.size();
        } else {
            mHasCutSegment = true;
            return offset;
        }
        offset = nextMarker(fragment, offset);
    }
    return fragment.size();
}

void JpegSegments::scanWindow() {
    const Bytes window(mWindow);
    std::size_t offset = nextMarker(window, 0);
    while (offset < window.size() && mProblem == nullptr) {
        note(isCutHarmfully(offset), kCutHarmfully);
        inspect(window.subspan(offset));
        offset = nextMarker(window, offset + 1);
    }
    // A segment that goes on in the next fragment is inspected again.
    const std::size_t done = mWindow.size() - std::min(mWindow.size(), kLongestSegment);
    mWindow.erase(mWindow.begin(), mWindow.begin() + static_cast<std::ptrdiff_t>(done));
    std::erase_if(mStarts, [done](std::size_t start) { return start <= done; });
    for (std::size_t& start : mStarts) {
        start -= done;
    }
}

/// The number of fragments that start after an offset and before an end.
std::size_t JpegSegments::startsBetween(std::size_t offset, std::size_t end) const {
    return static_cast<std::size_t>(std::lower_bound(mStarts.begin(), mStarts.end(), end) -
                                    std::upper_bound(mStarts.begin(), mStarts.end(), offset));
}

bool JpegSegments::isCutHarmfully(std::size_t offset) const {
    const Bytes segment = Bytes(mWindow).subspan(offset);
    if (segment.size() < 2) {
        return false;
    }
    const std::size_t end = offset + 2 + std::max<std::size_t>(2, statedLength(segment));
    if (isTablesOrFrame(segment[1])) {
        return startsBetween(offset, end) >= 2;
    }
    const bool endsWithFragment = end == mWindow.size() || std::binary_search(mStarts.begin(), mStarts.end(), end);
    return isSkipped(segment[1]) && ((endsWithFragment && startsBetween(offset, end) >= 1) ||
                                     startsBetween(offset, offset + kSegmentHeader + kReadBytesOfSkipped) >= 2);
}

void JpegSegments::inspect(Bytes segment) {
    constexpr std::size_t kMaxInspectedBytes = std::size_t{256} << 20;
    if (segment.size() >= 2 && segment[1] == kStartOfScan) {
        countScan();
    }
    if (segment.size() < kSegmentHeader || !isTablesOrFrame(segment[1])) {
        return;
    }
    // Decoders also use the tables of a segment that is there only in part.
    const std::size_t length = std::max<std::size_t>(2, statedLength(segment));
    const Bytes content = segment.subspan(kSegmentHeader, std::min(length - 2, segment.size() - kSegmentHeader));
    mInspectedBytes += content.size();
    note(mInspectedBytes > kMaxInspectedBytes, "the JPEG stream has too many segments");
    segment[1] == kHuffmanTables ? inspectTables(content) : inspectFrame(segment[1], content);
}

/// B.2.2: precision, lines, samples in a line, number of components, and three bytes for each component.
void JpegSegments::inspectFrame(Uint8 kind, Bytes content) {
    constexpr double kCoefficientBytes = 2.0;
    constexpr Uint8 kMaxComponents = 4;
    if (content.size() < 6 || content.size() != 6 + std::size_t{3} * content[5]) {
        return;
    }
    mMostBits = std::max<int>(mMostBits, content[0]);
    const Uint8 components = content[5];
    const auto word = [content](std::size_t offset) { return 256.0 * content[offset] + content[offset + 1]; };
    mSamples = word(1) * word(3) * components;
    mScans = 0;
    mLargestFrame = std::max(mLargestFrame, mSamples * kCoefficientBytes);
    note(components > kMaxComponents, "the JPEG frame has more than four components");
    mHasLossyFrame = mHasLossyFrame || kind != kLosslessFrame;
}

void JpegSegments::countScan() {
    constexpr double kUsualScans = 16;
    constexpr double kMaxVisits = 268435456.0; // of samples, one for each in each scan
    ++mScans;
    note(mScans > kUsualScans && mScans * mSamples > kMaxVisits, "the JPEG frame has too many scans");
}

/// B.2.4.2, for each table: class and number, the number of codes of each of 16 lengths, the value of each code.
void JpegSegments::inspectTables(Bytes content) {
    constexpr std::size_t kCounts = 17;
    constexpr Uint8 kForCoefficients = 0x10;
    constexpr Uint8 kMaxBits = 16;
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
        mHasWidestDifference = mHasWidestDifference || widest == kMaxBits;
        note(widest > kMaxBits || (content[0] & ~kForCoefficients) > kLastNumber, kImpossibleTable);
        content = content.subspan(kCounts + codes);
    }
}

} // namespace radvex
