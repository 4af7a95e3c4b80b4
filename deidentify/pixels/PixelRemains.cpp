#include "deidentify/pixels/PixelRemains.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "deidentify/pixels/Jpeg2000Remains.h"
#include "deidentify/pixels/PixelLayout.h"
#include "guard/pixels/EncodedPixels.h"
#include "guard/pixels/Jp2File.h"

namespace radvex::deidentify {

namespace {

using Bytes = std::span<Uint8>;

constexpr Uint8 kMarker = 0xFF;

void clear(Bytes bytes, bool& areCleared) {
    areCleared = areCleared || std::ranges::any_of(bytes, [](Uint8 byte) { return byte != 0; });
    std::ranges::fill(bytes, Uint8{0});
}

bool startsWith(Bytes content, std::string_view text) {
    return content.size() >= text.size() &&
           std::equal(text.begin(), text.end(), content.begin(),
                      [](char letter, Uint8 byte) { return static_cast<Uint8>(letter) == byte; });
}

/// Bytes of an application's segment that decoding needs.
std::size_t neededBytes(Uint8 marker, Bytes content) {
    struct Kind {
        Uint8 marker;
        std::string_view name;
        std::size_t needed;
    };
    constexpr std::array<Kind, 3> kKinds{{{0xE0, "JFIF", 14},  // version and density; a thumbnail follows
                                          {0xEE, "Adobe", 12}, // which colours they are
                                          {0xE8, "mrfx", 5}}}; // the same of JPEG-LS
    for (const Kind& kind : kKinds) {
        if (marker == kind.marker && startsWith(content, kind.name)) {
            return std::min(kind.needed, content.size());
        }
    }
    return 0;
}

bool isTold(Uint8 marker) { return marker == 0xFE || (marker >= 0xE0 && marker <= 0xEF); }

bool hasNoLength(Uint8 marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }

std::size_t lengthAt(Bytes bytes, std::size_t offset) { return 256U * bytes[offset] + bytes[offset + 1]; }

/// The next marker in compressed data, in which an FF is followed by less than C0, or by a restart.
std::size_t markerBehind(Bytes bytes, std::size_t offset) {
    for (; offset + 1 < bytes.size(); ++offset) {
        const Uint8 next = bytes[offset + 1];
        if (bytes[offset] == kMarker && next >= 0xC0 && next != kMarker && !(next >= 0xD0 && next <= 0xD7)) {
            return offset;
        }
    }
    return bytes.size();
}

/// JPEG and JPEG-LS (T.81 and T.87, B.1): segments, compressed data behind each start of a scan, an end.
bool clearJpeg(Bytes bytes, bool& areCleared) {
    constexpr Uint8 kStartOfScan = 0xDA;
    constexpr Uint8 kEnd = 0xD9;
    bool hasScan = false;
    for (std::size_t offset = 2; offset + 1 < bytes.size();) {
        const Uint8 marker = bytes[offset + 1];
        if (bytes[offset] != kMarker) {
            return hasScan;
        }
        if (marker == kMarker) {
            ++offset;
        } else if (hasNoLength(marker)) {
            offset += 2;
        } else if (marker == kEnd) {
            const Bytes behind = bytes.subspan(offset + 2);
            clear(behind.subspan(behind.size() == 1 ? 1 : 0), areCleared); // one byte is padding, of any value
            return true;
        } else {
            const std::size_t end = offset + 4 <= bytes.size() ? offset + 2 + lengthAt(bytes, offset + 2) : 0;
            if (end < offset + 4 || end > bytes.size()) {
                return hasScan && !isTold(marker);
            }
            const Bytes content = bytes.subspan(offset + 4, end - offset - 4);
            if (isTold(marker)) {
                clear(content.subspan(neededBytes(marker, content)), areCleared);
            }
            hasScan = hasScan || marker == kStartOfScan;
            offset = marker == kStartOfScan ? markerBehind(bytes, end) : end;
        }
    }
    return hasScan;
}

void clearBehindFrames(DcmDataset& dataset, DcmElement& element, PixelRemains& remains) {
    const PixelLayout layout = pixelLayoutOf(dataset);
    constexpr std::uint64_t kMost = std::uint64_t{1} << 40; // no overflow, and more than a value holds
    const std::uint64_t samples = layout.samplesOfFrame();
    if (samples == 0 || samples > kMost || layout.frames > kMost / samples) {
        return;
    }
    const std::uint64_t frame = (samples * layout.bitsAllocated + 7) / 8;
    const std::uint64_t expected = (layout.frames * samples * layout.bitsAllocated + 7) / 8;
    const std::uint64_t held = element.getLengthField();
    if (held <= expected) {
        return;
    }
    if (held - expected > 1 && held - expected >= frame) {
        remains.problem = "it holds more pixels than its attributes say";
        return;
    }
    clear(rawBytes(element).subspan(expected), remains.areCleared);
}

} // namespace

bool clearStreamRemains(std::span<Uint8> fragment, bool& areCleared) {
    if (isJp2(fragment)) {
        return clearJp2(fragment, areCleared);
    }
    if (fragment.size() < 4 || fragment[0] != kMarker) {
        return true;
    }
    return fragment[1] == 0xD8   ? clearJpeg(fragment, areCleared)
           : fragment[1] == 0x4F ? clearJpeg2000(fragment, areCleared)
                                 : true;
}

PixelRemains clearPixelRemains(DcmDataset& dataset) {
    PixelRemains remains;
    DcmPixelData* pixels = pixelDataOf(dataset);
    if (pixels == nullptr) {
        return remains;
    }
    if (DcmPixelSequence* fragments = currentFragments(*pixels)) {
        forEachFragment(*fragments, [&](DcmPixelItem& fragment) {
            Uint8* bytes = nullptr;
            if (fragment.getLength() > 0 && (fragment.getUint8Array(bytes).bad() || bytes == nullptr)) {
                throw std::runtime_error("its compressed pixels cannot be read");
            }
            if (bytes != nullptr && !clearStreamRemains({bytes, fragment.getLength()}, remains.areCleared)) {
                remains.problem = "comments in its compressed pixels cannot be told from pixels";
            }
        });
        return remains;
    }
    try {
        clearBehindFrames(dataset, *pixels, remains);
    } catch (const std::runtime_error&) {
        remains.problem = ""; // of a kind that nothing here measures
    }
    return remains;
}

} // namespace radvex::deidentify
