#include "deidentify/pixels/OverlayPlanes.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <stdexcept>
#include <string>

#include "deidentify/pixels/AttributeText.h"
#include "deidentify/pixels/PixelLayout.h"

namespace radvex::deidentify {

namespace {

constexpr Uint16 kRows = 0x0010;
constexpr Uint16 kColumns = 0x0011;
constexpr Uint16 kFrames = 0x0015;
constexpr Uint16 kOrigin = 0x0050;
constexpr Uint16 kData = 0x3000;

/// An overlay plane of bits, frame behind frame.
struct Plane {
    std::uint32_t rows = 0;
    std::uint32_t columns = 0;
    std::uint64_t frames = 1;
    std::int64_t top = 0; ///< row of the image that its first row lies on
    std::int64_t left = 0;
    std::span<Uint8> bits{};
};

[[noreturn]] void fail() { throw std::runtime_error("one of its overlay planes does not have the size that it says"); }

std::uint64_t framesOf(DcmItem& dataset, Uint16 group) {
    const std::string text = wholeText(dataset, DcmTagKey(group, kFrames));
    std::uint64_t frames = 1;
    if (text.empty()) {
        return frames;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), frames);
    if (error != std::errc() || end != text.data() + text.size() || frames == 0) {
        fail();
    }
    return frames;
}

Plane planeOf(DcmItem& dataset, Uint16 group, DcmElement& data) {
    Uint16 rows = 0;
    Uint16 columns = 0;
    Plane plane;
    if (dataset.findAndGetUint16(DcmTagKey(group, kRows), rows, 0, OFFalse).bad() ||
        dataset.findAndGetUint16(DcmTagKey(group, kColumns), columns, 0, OFFalse).bad() || rows == 0 || columns == 0) {
        fail();
    }
    plane.rows = rows;
    plane.columns = columns;
    plane.frames = framesOf(dataset, group);
    Sint16 top = 1; // counted from 1 (PS3.3 C.9.2.1.1)
    Sint16 left = 1;
    (void)dataset.findAndGetSint16(DcmTagKey(group, kOrigin), top, 0, OFFalse);
    (void)dataset.findAndGetSint16(DcmTagKey(group, kOrigin), left, 1, OFFalse);
    plane.top = top - 1;
    plane.left = left - 1;
    plane.bits = rawBytes(data);
    if (plane.frames > std::uint64_t{plane.bits.size()} * 8 / (std::uint64_t{rows} * columns)) {
        fail();
    }
    return plane;
}

void clearBits(std::span<Uint8> bits, std::uint64_t begin, std::uint64_t end) {
    for (std::uint64_t bit = begin; bit < end;) {
        if (bit % 8 == 0 && end - bit >= 8) {
            bits[static_cast<std::size_t>(bit / 8)] = 0;
            bit += 8;
        } else {
            Uint8& byte = bits[static_cast<std::size_t>(bit / 8)];
            byte = static_cast<Uint8>(byte & ~(1U << (bit % 8)));
            ++bit;
        }
    }
}

/// The columns of a plane to blank in one of its rows.
std::vector<Span> blankedIn(const Plane& plane, std::uint32_t row, const MaskedArea& area) {
    const std::int64_t imageRow = plane.top + row;
    if (imageRow < 0 || imageRow >= area.rows()) {
        return {{0, plane.columns}};
    }
    const auto inPlane = [&](std::int64_t imageColumn) {
        return static_cast<std::uint32_t>(
            std::clamp(imageColumn - plane.left, std::int64_t{0}, std::int64_t{plane.columns}));
    };
    std::vector<Span> spans{{0, inPlane(0)}, {inPlane(area.columns()), plane.columns}};
    for (const Span& span : area.spansOfRow(static_cast<std::uint32_t>(imageRow))) {
        spans.push_back({inPlane(span.begin), inPlane(span.end)});
    }
    return spans;
}

void blank(Plane plane, const MaskedArea& area) {
    for (std::uint32_t row = 0; row < plane.rows; ++row) {
        const std::vector<Span> spans = blankedIn(plane, row, area);
        for (std::uint64_t frame = 0; frame < plane.frames; ++frame) {
            const std::uint64_t start = (frame * plane.rows + row) * plane.columns;
            for (const Span& span : spans) {
                clearBits(plane.bits, start + span.begin, start + span.end);
            }
        }
    }
    // What follows the last frame belongs to no pixel.
    clearBits(plane.bits, plane.frames * plane.rows * plane.columns, std::uint64_t{plane.bits.size()} * 8);
}

} // namespace

std::vector<Uint16> overlayGroups(DcmItem& dataset) {
    constexpr Uint16 kFirst = 0x6000;
    constexpr Uint16 kLast = 0x60FF;
    std::vector<Uint16> groups;
    for (DcmObject* object = dataset.nextInContainer(nullptr); object != nullptr;
         object = dataset.nextInContainer(object)) {
        const Uint16 group = object->getGTag();
        const bool isNew = std::find(groups.begin(), groups.end(), group) == groups.end();
        if (group >= kFirst && group <= kLast && group % 2 == 0 && isNew) {
            groups.push_back(group);
        }
    }
    return groups;
}

void blankOverlayPlanes(DcmItem& dataset, const MaskedArea& area) {
    for (const Uint16 group : overlayGroups(dataset)) {
        DcmElement* data = nullptr;
        if (dataset.findAndGetElement(DcmTagKey(group, kData), data, OFFalse, OFFalse).good() && data != nullptr &&
            data->getLengthField() > 0) {
            blank(planeOf(dataset, group, *data), area);
        }
    }
}

} // namespace radvex::deidentify
