#include "deidentify/pixels/Jpeg2000Remains.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "guard/pixels/BigEndian.h"
#include "guard/pixels/Jp2File.h"

namespace radvex::deidentify {

namespace {

using Bytes = std::span<Uint8>;

constexpr Uint8 kMarker = 0xFF;
constexpr Uint8 kStartOfTilePart = 0x90;
constexpr Uint8 kStartOfData = 0x93;
constexpr Uint8 kEnd = 0xD9;

void clear(Bytes bytes, bool& areCleared) {
    areCleared = areCleared || std::ranges::any_of(bytes, [](Uint8 byte) { return byte != 0; });
    std::ranges::fill(bytes, Uint8{0});
}

bool hasMarker(Bytes bytes, std::size_t offset, Uint8 marker) {
    return offset + 2 <= bytes.size() && bytes[offset] == kMarker && bytes[offset + 1] == marker;
}

/// Clears the comments of a header, whose first segment begins at the offset.
/// @return the offset of the marker that ends the header; the number of bytes where that is not there
std::size_t clearHeader(Bytes bytes, std::size_t offset, Uint8 ending, bool& areCleared) {
    constexpr Uint8 kComment = 0x64;
    constexpr std::size_t kRegistration = 2; // says whether the comment is text
    while (offset + 4 <= bytes.size() && bytes[offset] == kMarker && bytes[offset + 1] != ending) {
        const std::size_t end = offset + 2 + static_cast<std::size_t>(bigEndian(bytes, offset + 2, 2));
        if (end < offset + 4 || end > bytes.size()) {
            return bytes.size();
        }
        if (bytes[offset + 1] == kComment) {
            const Bytes content = bytes.subspan(offset + 4, end - offset - 4);
            clear(content.subspan(std::min(kRegistration, content.size())), areCleared);
        }
        offset = end;
    }
    return hasMarker(bytes, offset, ending) ? offset : bytes.size();
}

/// The bytes of a part of what a box was read from, which may be changed.
Bytes partOf(Bytes whole, std::span<const Uint8> part) {
    return whole.subspan(static_cast<std::size_t>(part.data() - whole.data()), part.size());
}

template <std::size_t Count>
bool isOneOf(std::string_view kind, const std::array<std::string_view, Count>& kinds) {
    return std::ranges::find(kinds, kind) != kinds.end();
}

} // namespace

bool clearJpeg2000(std::span<Uint8> bytes, bool& areCleared) {
    constexpr std::size_t kHeader = 12; // of a tile part, with its marker
    std::size_t offset = clearHeader(bytes, 2, kStartOfTilePart, areCleared);
    if (offset == bytes.size()) {
        return false;
    }
    while (hasMarker(bytes, offset, kStartOfTilePart)) {
        if (offset + kHeader > bytes.size() || bigEndian(bytes, offset + 2, 2) != kHeader - 2) {
            return true; // it goes on in another fragment
        }
        (void)clearHeader(bytes, offset + kHeader, kStartOfData, areCleared);
        const std::uint64_t length = bigEndian(bytes, offset + 6, 4);
        if (length < kHeader || length > bytes.size() - offset) {
            return true; // the same, or up to the end
        }
        offset += static_cast<std::size_t>(length);
    }
    if (!hasMarker(bytes, offset, kEnd)) {
        return std::ranges::all_of(bytes.subspan(offset), [](Uint8 byte) { return byte == 0; });
    }
    const Bytes behind = bytes.subspan(offset + 2);
    clear(behind.subspan(behind.size() == 1 ? 1 : 0), areCleared); // one byte is padding, of any value
    return true;
}

bool clearJp2(std::span<Uint8> bytes, bool& areCleared) {
    constexpr std::array<std::string_view, 2> kNeeded{"jP  ", "ftyp"};
    constexpr std::array<std::string_view, 7> kOfHeader{"ihdr", "bpcc", "colr", "pclr", "cmap", "cdef", "res "};
    bool isFollowed = false;
    std::span<const Uint8> rest = bytes;
    for (auto box = jp2BoxAt(rest); box; box = jp2BoxAt(rest)) {
        rest = box->rest;
        if (box->kind == "jp2c") {
            isFollowed = clearJpeg2000(partOf(bytes, box->content), areCleared);
        } else if (box->kind == "jp2h") {
            for (auto inner = jp2BoxAt(box->content); inner; inner = jp2BoxAt(inner->rest)) {
                if (!isOneOf(inner->kind, kOfHeader)) {
                    clear(partOf(bytes, inner->content), areCleared);
                }
            }
        } else if (!isOneOf(box->kind, kNeeded)) {
            clear(partOf(bytes, box->content), areCleared);
        }
    }
    if (isFollowed) {
        clear(partOf(bytes, rest), areCleared);
    }
    return isFollowed;
}

} // namespace radvex::deidentify
