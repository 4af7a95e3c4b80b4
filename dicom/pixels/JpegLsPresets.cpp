#include "dicom/pixels/JpegLsPresets.h"

#include <cstring>

namespace radvex {

namespace {

constexpr std::size_t kPresetBytes = 15; // marker, length, kind, five numbers
constexpr std::size_t kFrameBytes = 5;   // marker, length, bits of a sample

unsigned wordAt(std::span<const Uint8> bytes, std::size_t offset) {
    return static_cast<unsigned>(bytes[offset]) << 8 | bytes[offset + 1];
}

} // namespace

void JpegLsPresets::add(Bytes fragment) {
    scan(fragment);
    // A segment may begin in the former fragment and go on in this one.
    const Bytes start = fragment.first(std::min(fragment.size(), kPresetBytes - 1));
    std::vector<Uint8> joint = mLast;
    joint.insert(joint.end(), start.begin(), start.end());
    scan(joint);
    const Bytes end = fragment.size() < kPresetBytes ? Bytes(joint) : fragment;
    mLast.assign(end.end() - static_cast<std::ptrdiff_t>(std::min(end.size(), kPresetBytes - 1)), end.end());
}

void JpegLsPresets::scan(Bytes bytes) {
    constexpr Uint8 kMarker = 0xFF;
    constexpr Uint8 kFrame = 0xF7;
    constexpr Uint8 kPreset = 0xF8;
    constexpr Uint8 kCodingParameters = 1;
    constexpr std::size_t kReset = 13;
    constexpr unsigned kUsualReset = 64;
    Bytes rest = bytes;
    while (rest.size() >= kFrameBytes) {
        const void* found = std::memchr(rest.data(), kMarker, rest.size() - kFrameBytes + 1);
        if (found == nullptr) {
            return;
        }
        const Bytes segment = rest.subspan(static_cast<std::size_t>(static_cast<const Uint8*>(found) - rest.data()));
        rest = segment.subspan(1);
        if (segment[1] == kFrame) {
            mFewestBits = std::min<int>(mFewestBits, segment[4]);
        } else if (segment[1] == kPreset && segment[4] == kCodingParameters && segment.size() >= kPresetBytes) {
            const unsigned reset = wordAt(segment, kReset);
            mHasUnusualReset = mHasUnusualReset || (reset != 0 && reset != kUsualReset);
            mHighestSample = std::max(mHighestSample, wordAt(segment, 5));
        }
    }
}

} // namespace radvex
