#include "guard/ElementContent.h"

#include <algorithm>
#include <cctype>

namespace radvex {

namespace {

constexpr TagNumber kVoiLutTag = 0x00283010;
constexpr TagNumber kPixelDataTag = 0x7FE00010;
/// Longer than every private creator of the dictionary and every UID.
constexpr std::size_t kMostText = 256;

/// For a tag of a repeating group (50xx, 60xx): the same tag in the first group.
TagNumber baseTag(TagNumber tag) {
    const TagNumber base = tag & 0xFF01FFFF;
    return base >> 16 == 0x5000 || base >> 16 == 0x6000 ? base : tag;
}

bool isOverlayData(TagNumber tag) { return baseTag(tag) == 0x60003000; }
bool isCurveData(TagNumber tag) { return baseTag(tag) == 0x50003000; }

bool isWaveformValue(TagNumber tag) {
    return tag == 0x54001010 || tag == 0x5400100A || tag == 0x54000110 || tag == 0x54000112;
}

ElementContent contentOfBytes(TagNumber tag, const ElementContext& context) {
    if (tag == kPixelDataTag || context.isPrivatePixelData) {
        return ElementContent::PixelSequence;
    }
    return isOverlayData(tag) ? ElementContent::Value : ElementContent::Refused;
}

/// The content of an element that may be bytes or words, according to the dictionary.
ElementContent contentOfEither(TagNumber tag, const ElementContext& context) {
    if (tag == kPixelDataTag) {
        return ElementContent::PixelSequence;
    }
    const bool isDerived = isCurveData(tag) || (isWaveformValue(tag) && context.hasWaveformBits);
    return context.isCheckedForVr && isDerived ? ElementContent::Refused : ElementContent::Value;
}

/// A text that grows byte by byte. Spaces at the end are left out.
struct GrowingText {
    std::string text{};
    std::size_t spaces = 0;
    bool isComplete = false;

    void add(char byte, bool isUid) {
        if (isUid && std::isspace(static_cast<unsigned char>(byte)) != 0) {
            return;
        }
        if (byte == ' ') {
            ++spaces;
            return;
        }
        keepSpaces();
        if (byte != '\0') {
            text += byte;
        }
        isComplete = byte == '\0' || text.size() > kMostText;
    }

    void keepSpaces() {
        text.append(std::min(spaces, kMostText), ' ');
        spaces = 0;
    }
};

} // namespace

ElementContent contentOfUncommon(const ElementHeader& header) {
    switch (header.vr) {
    case EVR_SQ: return ElementContent::Sequence;
    case EVR_na: return header.tag == kItemDelimiterTag ? ElementContent::ItemEnd : ElementContent::Misplaced;
    case EVR_OB:
    case EVR_OW: return header.tag == kVoiLutTag ? ElementContent::Refused : ElementContent::Value;
    case EVR_item:
    case EVR_metainfo:
    case EVR_dataset:
    case EVR_fileFormat:
    case EVR_dicomDir:
    case EVR_dirRecord:
    case EVR_pixelSQ:
    case EVR_pixelItem: return ElementContent::Refused;
    default: return ElementContent::Value;
    }
}

ElementContent contentOfUndefined(const ElementHeader& header, const ElementContext& context) {
    switch (header.vr) {
    case EVR_OB:
    case EVR_OW: return contentOfBytes(header.tag, context);
    case EVR_ox: return contentOfEither(header.tag, context);
    case EVR_px:
    case EVR_PixelData: return ElementContent::PixelSequence;
    case EVR_UN:
    case EVR_UNKNOWN:
    case EVR_UNKNOWN2B: return ElementContent::Sequence; // DCMTK reads it as a sequence
    default: return contentOf(header);                   // to DCMTK, values of 4 GiB are plain values
    }
}

std::optional<std::string> readText(ByteSource& source, const ElementHeader& header) {
    if (DcmVR(header.vr).isaString() != OFTrue || header.length == 0) {
        return std::nullopt;
    }
    GrowingText growing;
    std::uint32_t left = header.length;
    while (left > 0 && !growing.isComplete) {
        const auto bytes = source.peek(std::min<std::size_t>(left, kMostText));
        if (bytes.empty()) {
            break;
        }
        for (std::size_t index = 0; index < bytes.size() && !growing.isComplete; ++index) {
            growing.add(static_cast<char>(bytes[index]), header.vr == EVR_UI);
        }
        source.consume(bytes.size());
        left -= static_cast<std::uint32_t>(bytes.size());
    }
    if (header.length % 2 != 0) { // DCMTK pads it with zero, so spaces at the end stay
        growing.keepSpaces();
    }
    return growing.text;
}

} // namespace radvex
