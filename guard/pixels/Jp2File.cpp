#include "guard/pixels/Jp2File.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "guard/pixels/BigEndian.h"

namespace radvex {

namespace {

using Bytes = std::span<const Uint8>;

/// I.5.3.4 to 6
bool rearranges(const Jp2Box& box) {
    constexpr std::size_t kEntry = 6;
    bool isInOrder = true;
    for (std::size_t at = 2, channel = 0; box.kind == "cdef" && at + kEntry <= box.content.size(); at += kEntry) {
        isInOrder =
            isInOrder && bigEndian(box.content, at, 2) == channel && bigEndian(box.content, at + 4, 2) == channel + 1;
        ++channel;
    }
    return box.kind == "pclr" || box.kind == "cmap" || !isInOrder;
}

} // namespace

std::optional<Jp2Box> jp2BoxAt(std::span<const Uint8> bytes) {
    constexpr std::size_t kHeader = 8;
    constexpr std::size_t kLongHeader = 16;
    if (bytes.size() < kHeader) {
        return std::nullopt;
    }
    std::uint64_t length = bigEndian(bytes, 0, 4);
    std::size_t header = kHeader;
    if (length == 1 && bytes.size() >= kLongHeader) {
        length = bigEndian(bytes, kHeader, 8);
        header = kLongHeader;
    } else if (length == 0) { // to the end
        length = bytes.size();
    }
    if (length < header || length > bytes.size()) {
        return std::nullopt;
    }
    const auto end = static_cast<std::size_t>(length);
    return Jp2Box{
        {reinterpret_cast<const char*>(bytes.data()) + 4, 4}, bytes.subspan(header, end - header), bytes.subspan(end)};
}

bool isJp2(std::span<const Uint8> bytes) {
    constexpr std::string_view kSignature("\0\0\0\x0CjP  ", 8);
    return bytes.size() >= kSignature.size() && std::memcmp(bytes.data(), kSignature.data(), kSignature.size()) == 0;
}

Jp2Content contentOfJp2(std::span<const Uint8> bytes) {
    Jp2Content found{bytes};
    if (!isJp2(bytes)) {
        return found;
    }
    for (auto box = jp2BoxAt(bytes); box && box->kind != "jp2c"; box = jp2BoxAt(box->rest)) {
        found.codestream = box->rest;
        for (auto inner = box->kind == "jp2h" ? jp2BoxAt(box->content) : std::nullopt; inner;
             inner = jp2BoxAt(inner->rest)) {
            found.rearrangesComponents = found.rearrangesComponents || rearranges(*inner);
        }
    }
    if (const auto box = jp2BoxAt(found.codestream); box && box->kind == "jp2c") {
        found.codestream = box->content;
    }
    return found;
}

} // namespace radvex
