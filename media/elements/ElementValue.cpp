#include "media/elements/ElementValue.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "media/ElementList.h"

namespace radvex::media {

namespace {

/// DCMTK has value representations of its own, each of which stands for one of the standard's.
DcmEVR representationOf(DcmElement& element) { return DcmVR(DcmVR(element.getTag().getEVR()).getValidEVR()).getEVR(); }

/// The text in the form of DCMTK; empty for none.
std::string textIn(DcmElement& element) {
    char* text = nullptr;
    return element.getString(text).good() && text != nullptr ? text : "";
}

template <typename Number>
std::string numbersIn(DcmElement& element, OFCondition (DcmElement::*getter)(Number*&)) {
    Number* numbers = nullptr;
    if ((element.*getter)(numbers).bad() || numbers == nullptr) {
        return "";
    }
    std::string joined;
    const std::size_t count = element.getLengthField() / sizeof(Number);
    for (std::size_t index = 0; index < count; ++index) {
        std::array<char, 32> text{};
        const auto end = std::to_chars(text.data(), text.data() + text.size(), numbers[index]).ptr;
        joined.append(index == 0 ? "" : "\\").append(text.data(), end);
    }
    return joined;
}

std::string tagsIn(DcmElement& element) {
    std::string joined;
    DcmTagKey key;
    for (unsigned long index = 0; element.getTagVal(key, index).good(); ++index) {
        std::array<char, 16> text{};
        std::snprintf(text.data(), text.size(), "(%04x,%04x)", unsigned{key.getGroup()}, unsigned{key.getElement()});
        joined.append(index == 0 ? "" : "\\").append(text.data());
    }
    return joined;
}

template <typename Word>
std::string wordsIn(DcmElement& element, OFCondition (DcmElement::*getter)(Word*&)) {
    Word* words = nullptr;
    if ((element.*getter)(words).bad() || words == nullptr) {
        return "";
    }
    return {reinterpret_cast<const char*>(words), element.getLengthField() / sizeof(Word) * sizeof(Word)};
}

std::string withoutPadding(const std::string& text, DcmEVR vr) {
    if (isOneText(DcmVR(vr).getVRName())) {
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }
    std::string trimmed;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\\', start), text.size());
        const std::string_view value(text.data() + start, end - start);
        trimmed.append(start == 0 ? "" : "\\").append(value.substr(0, value.find_last_not_of(' ') + 1));
        start = end + 1;
    }
    return trimmed;
}

void appendItem(std::string& bytes, Uint32 length) {
    const std::array<unsigned, 8> header{
        0xFE, 0xFF, 0x00, 0xE0, length & 0xFF, length >> 8 & 0xFF, length >> 16 & 0xFF, length >> 24};
    for (const unsigned byte : header) {
        bytes += static_cast<char>(byte);
    }
}

std::string fragmentsOf(DcmPixelSequence& sequence) {
    std::string bytes;
    for (unsigned long index = 0; index < sequence.card(); ++index) {
        DcmPixelItem* item = nullptr;
        Uint8* fragment = nullptr;
        if (sequence.getItem(item, index).bad() || item == nullptr) {
            break;
        }
        const Uint32 length = item->getLengthField();
        const bool isThere = length > 0 && item->getUint8Array(fragment).good() && fragment != nullptr;
        appendItem(bytes, isThere ? length : 0);
        bytes.append(reinterpret_cast<const char*>(fragment), isThere ? length : 0);
    }
    return bytes;
}

/// Without what could control a terminal.
std::string escaped(std::string_view line) {
    std::string valid;
    utf8::replace_invalid(line.begin(), line.end(), std::back_inserter(valid));
    std::string text;
    for (const char character : valid) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04X", unsigned{byte});
            text += escape.data();
        } else {
            text += character;
        }
    }
    return text;
}

/// In the form of DCMTK's dump, which knows no way to print a sequence without its items.
std::string sequenceLine(DcmSequenceOfItems& sequence) {
    const bool isOpen = sequence.getLengthField() == DCM_UndefinedLength;
    DcmTag tag(sequence.getTag());
    std::array<char, 128> start{};
    std::snprintf(start.data(), start.size(), "(%04x,%04x) SQ (Sequence with %s length #=%lu)", unsigned{tag.getGTag()},
                  unsigned{tag.getETag()}, isOpen ? "undefined" : "explicit", sequence.card());
    std::array<char, 64> end{};
    std::snprintf(end.data(), end.size(), isOpen ? " # u/l, 1 " : " # %3lu, 1 ",
                  static_cast<unsigned long>(sequence.getLengthField()));
    constexpr std::size_t kColumn = 55;
    std::string line = start.data();
    line.append(line.size() < kColumn ? kColumn - line.size() : 0, ' ');
    return line + end.data() + tag.getTagName();
}

/// Texts as they are stored.
std::string storedText(DcmElement& element) {
    switch (representationOf(element)) {
    case EVR_US: return numbersIn(element, &DcmElement::getUint16Array);
    case EVR_UL: return numbersIn(element, &DcmElement::getUint32Array);
    case EVR_UV: return numbersIn(element, &DcmElement::getUint64Array);
    case EVR_SS: return numbersIn(element, &DcmElement::getSint16Array);
    case EVR_SL: return numbersIn(element, &DcmElement::getSint32Array);
    case EVR_SV: return numbersIn(element, &DcmElement::getSint64Array);
    case EVR_FL: return numbersIn(element, &DcmElement::getFloat32Array);
    case EVR_FD: return numbersIn(element, &DcmElement::getFloat64Array);
    case EVR_AT: return tagsIn(element);
    case EVR_OB:
    case EVR_OD:
    case EVR_OF:
    case EVR_OL:
    case EVR_OV:
    case EVR_OW:
    case EVR_UN: return "";
    default: return textIn(element);
    }
}

} // namespace

DcmPixelSequence* pixelSequenceOf(DcmPixelData& pixels) {
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    pixels.getOriginalRepresentationKey(syntax, parameter);
    DcmPixelSequence* sequence = nullptr;
    const bool isThere = pixels.getEncapsulatedRepresentation(syntax, parameter, sequence).good();
    return isThere ? sequence : nullptr;
}

std::string textOf(DcmElement& element, const std::string& characterSet, text::TextDecoder& decoder) {
    const DcmEVR vr = representationOf(element);
    return withoutPadding(decoder.utf8(storedText(element), vr, characterSet), vr);
}

std::string unknownTextOf(DcmElement& element, const std::string& characterSet, text::TextDecoder& decoder) {
    const DcmEVR vr = representationOf(element);
    const std::string text = storedText(element);
    return decoder.known(text, vr, characterSet) ? "" : withoutPadding(text, vr);
}

std::string bytesOf(DcmElement& element) {
    if (auto* pixels = dynamic_cast<DcmPixelData*>(&element)) {
        if (DcmPixelSequence* sequence = pixelSequenceOf(*pixels)) {
            return fragmentsOf(*sequence);
        }
    }
    switch (representationOf(element)) {
    case EVR_OW: return wordsIn(element, &DcmElement::getUint16Array);
    case EVR_OL: return wordsIn(element, &DcmElement::getUint32Array);
    case EVR_OV: return wordsIn(element, &DcmElement::getUint64Array);
    case EVR_OF: return wordsIn(element, &DcmElement::getFloat32Array);
    case EVR_OD: return wordsIn(element, &DcmElement::getFloat64Array);
    default: return wordsIn(element, &DcmElement::getUint8Array);
    }
}

std::string dumpLine(DcmElement& element, bool whole) {
    if (auto* sequence = dynamic_cast<DcmSequenceOfItems*>(&element)) {
        return escaped(sequenceLine(*sequence));
    }
    std::ostringstream out;
    element.print(out, whole ? 0 : DCMTypes::PF_shortenLongTagValues, 0);
    std::string printed = out.str();
    while (!printed.empty() && printed.back() == '\n') {
        printed.pop_back();
    }
    auto* const pixels = dynamic_cast<DcmPixelData*>(&element);
    if (pixels == nullptr || pixelSequenceOf(*pixels) == nullptr) {
        return escaped(printed);
    }
    std::string text;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) {
        text.append(text.empty() ? "" : "\n").append(escaped(line));
    }
    return text;
}

} // namespace radvex::media
