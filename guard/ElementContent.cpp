#include "guard/ElementContent.h"

#include <algorithm>
#include <cctype>

namespace radvex {

namespace {

constexpr TagNumber kVoiLutTag = 0x00283010;
constexpr TagNumber kPixelDataTag = 0x7FE00010;
/// Longer than every name in the dictionary and every UID.
constexpr std::size_t kMostText = 256;

/// Tags of repeating groups (50xx, 60xx) as those of the first group.
TagNumber baseTag(TagNumber tag) {
    const TagNumber base = tag & 0xFF01FFFF;
    return base >> 16 == 0x5000 || base >> 16 == 0x6000 ? base : tag;
}

bool isOverlayData(TagNumber tag) { return baseTag(tag) == 0x60003000; }
bool isCurveData(TagNumber tag) { return baseTag(tag) == 0x50003000; }

bool isWaveformValue(TagNumber tag) {
    return tag == 0x54001010 || tag == 0x5400100A || tag == 0x54000110 || tag == 0x54000112;
}

ElementContent contentOfBytes(TagNumber tag, const ElementSurroundings& surroundings) {
    if (tag == kPixelDataTag || surroundings.isPrivatePixelData) {
        return ElementContent::PixelSequence;
    }
    return isOverlayData(tag) ? ElementContent::Value : ElementContent::Refused;
}

/// The dictionary leaves open whether these are bytes or words.
ElementContent contentOfEither(TagNumber tag, const ElementSurroundings& surroundings) {
    if (tag == kPixelDataTag) {
        return ElementContent::PixelSequence;
    }
    const bool isSettled = isCurveData(tag) || (isWaveformValue(tag) && surroundings.hasWaveformBits);
    return surroundings.isCheckedForVr && isSettled ? ElementContent::Refused : ElementContent::Value;
}

ElementContent contentOfDelimiter(TagNumber tag) {
    return tag == kItemDelimiterTag ? ElementContent::ItemEnd : ElementContent::Misplaced;
}

bool isText(DcmEVR vr) { return DcmVR(vr).isaString() == OFTrue; }

/// A text that grows byte by byte; spaces at its end count only when something follows.
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
    case EVR_na: return contentOfDelimiter(header.tag);
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

ElementContent contentOfUndefined(const ElementHeader& header, const ElementSurroundings& surroundings) {
    switch (header.vr) {
    case EVR_OB:
    case EVR_OW: return contentOfBytes(header.tag, surroundings);
    case EVR_ox: return contentOfEither(header.tag, surroundings);
    case EVR_px:
    case EVR_PixelData: return ElementContent::PixelSequence;
    case EVR_UN:
    case EVR_UNKNOWN:
    case EVR_UNKNOWN2B: return ElementContent::Sequence; // a sequence in disguise
    default: return contentOf(header);                   // a value too: of four billion bytes, to DCMTK
    }
}

std::optional<std::string> readText(ByteSource& source, const ElementHeader& header) {
    if (!isText(header.vr) || header.length == 0) {
        return std::nullopt;
    }
    GrowingText growing;
    std::uint32_t left = header.length;
    while (left > 0 && !growing.isComplete) {
        const auto bytes = source.peek(std::min<std::size_t>(left, kMostText));
        if (bytes.empty()) {
            break;
        }
        for (std::size_t place = 0; place < bytes.size() && !growing.isComplete; ++place) {
            growing.add(static_cast<char>(bytes[place]), header.vr == EVR_UI);
        }
        source.consume(bytes.size());
        left -= static_cast<std::uint32_t>(bytes.size());
    }
    if (header.length % 2 != 0) { // DCMTK pads with zero, and spaces before that stay
        growing.keepSpaces();
    }
    return growing.text;
}

} // namespace radvex
