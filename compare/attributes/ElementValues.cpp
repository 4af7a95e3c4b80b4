#include "compare/attributes/ElementValues.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "deidentify/rewriting/DatasetWalk.h"

namespace radvex::compare {

namespace {

constexpr std::size_t kLongestText = 256;
constexpr Uint32 kStep = Uint32{1} << 20;
constexpr std::string_view kPadding(" \0", 2);

DcmEVR vrOf(DcmElement& element) { return DcmVR(element.getVR()).getValidEVR(); }

bool isText(DcmEVR vr) {
    constexpr std::array kTypes{EVR_AE, EVR_AS, EVR_CS, EVR_DA, EVR_DS, EVR_DT, EVR_IS, EVR_LO, EVR_LT,
                                EVR_PN, EVR_SH, EVR_ST, EVR_TM, EVR_UC, EVR_UI, EVR_UR, EVR_UT};
    return std::ranges::find(kTypes, vr) != kTypes.end();
}

/// Spaces in front of these belong to the value, and a backslash in them separates nothing (PS3.5 6.2).
bool isWholeText(DcmEVR vr) { return vr == EVR_LT || vr == EVR_ST || vr == EVR_UT || vr == EVR_UR; }

std::string_view withoutPadding(std::string_view value, bool isWhole) {
    const std::size_t first = isWhole ? 0 : std::min(value.find_first_not_of(kPadding), value.size());
    value.remove_prefix(first);
    return value.substr(0, value.find_last_not_of(kPadding) + 1); // nothing found is -1
}

/// The values of a text with a backslash between them, each without its padding.
std::string withoutPaddings(const std::string& text, DcmEVR vr) {
    if (isWholeText(vr)) {
        return std::string(withoutPadding(text, true));
    }
    std::string all;
    std::size_t start = 0;
    for (std::size_t end = text.find('\\'); end != std::string::npos; end = text.find('\\', start)) {
        all.append(withoutPadding(std::string_view(text).substr(start, end - start), false)).append(1, '\\');
        start = end + 1;
    }
    return all.append(withoutPadding(std::string_view(text).substr(start), false));
}

/// Bytes of a value from an offset, in the order of a file with little endian.
std::string_view bytesAt(DcmElement& element, Uint32 offset, std::vector<char>& buffer) {
    const Uint32 count = std::min(kStep, element.getLengthField() - offset);
    buffer.resize(count);
    const OFCondition read = element.getPartialValue(buffer.data(), offset, count, nullptr, EBO_LittleEndian);
    if (read.bad()) {
        throw std::runtime_error(std::string("it cannot be read: ") + read.text());
    }
    return {buffer.data(), count};
}

bool areSameBytes(DcmElement& first, DcmElement& second) {
    if (first.getLengthField() != second.getLengthField()) {
        return false;
    }
    std::vector<char> one;
    std::vector<char> other;
    for (Uint32 offset = 0; offset < first.getLengthField(); offset += kStep) {
        if (bytesAt(first, offset, one) != bytesAt(second, offset, other)) {
            return false;
        }
        if (offset > std::numeric_limits<Uint32>::max() - kStep) {
            break;
        }
    }
    return true;
}

/// The fragments of compressed pixels; null for everything else.
DcmPixelSequence* fragmentsOf(DcmElement& element) {
    auto* pixels = dynamic_cast<DcmPixelData*>(&element);
    DcmPixelSequence* fragments = nullptr;
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    if (pixels != nullptr) {
        pixels->getOriginalRepresentationKey(syntax, parameter);
        if (DcmXfer(syntax).isEncapsulated()) {
            (void)pixels->getEncapsulatedRepresentation(syntax, parameter, fragments);
        }
    }
    return fragments;
}

bool areSameFragments(DcmPixelSequence& first, DcmPixelSequence& second) {
    if (first.card() != second.card()) {
        return false;
    }
    for (unsigned long index = 0; index < first.card(); ++index) {
        DcmPixelItem* one = nullptr;
        DcmPixelItem* other = nullptr;
        if (first.getItem(one, index).bad() || second.getItem(other, index).bad() || !areSameBytes(*one, *other)) {
            return false;
        }
    }
    return true;
}

std::string cut(const std::string& text) {
    if (text.size() <= kLongestText) {
        return text;
    }
    std::size_t end = kLongestText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) { // inside a character
        --end;
    }
    return text.substr(0, end) + "... (" + std::to_string(text.size()) + " bytes)";
}

/// Several values are cut with them, since DCMTK makes a text of all.
std::string numbersOf(DcmElement& element) {
    constexpr unsigned long kMost = 16;
    const unsigned long count = element.getVM();
    std::string text;
    for (unsigned long index = 0; index < std::min(count, kMost); ++index) {
        OFString value;
        (void)element.getOFString(value, index);
        text.append(index == 0 ? "" : "\\").append(value.c_str(), value.size());
    }
    return count > kMost ? text + "... (" + std::to_string(count) + " values)" : text;
}

std::string hexadecimal(DcmElement& element) {
    constexpr Uint32 kMost = 8;
    const Uint32 length = element.getLengthField();
    std::array<unsigned char, kMost> start{};
    const Uint32 count = std::min(kMost, length);
    std::string text = std::to_string(length) + (length == 1 ? " byte" : " bytes");
    if (count == 0 || element.getPartialValue(start.data(), 0, count, nullptr, EBO_LittleEndian).bad()) {
        return text;
    }
    text += ':';
    for (Uint32 index = 0; index < count; ++index) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02X", start[index]);
        text += digits;
    }
    return text + (length > count ? " ..." : "");
}

} // namespace

bool haveSameBytes(DcmElement& first, DcmElement& second) {
    DcmPixelSequence* one = fragmentsOf(first);
    DcmPixelSequence* other = fragmentsOf(second);
    if (one == nullptr && other == nullptr) {
        return areSameBytes(first, second);
    }
    return one != nullptr && other != nullptr && areSameFragments(*one, *other);
}

std::string ElementValues::textOf(const ReadableElement& value, DcmEVR vr) {
    return withoutPaddings(mDecoder.utf8(value.element, value.characterSet), vr);
}

bool ElementValues::areSame(const ReadableElement& first, const ReadableElement& second) {
    const DcmEVR one = vrOf(first.element);
    const DcmEVR other = vrOf(second.element);
    if (isText(one) && isText(other)) {
        return textOf(first, one) == textOf(second, other);
    }
    if (haveSameBytes(first.element, second.element)) {
        return true;
    }
    if (isText(one) || isText(other)) { // the type of the other one is lost, or it has the padding of bytes
        const auto unpadded = [](const ReadableElement& value) {
            std::vector<char> buffer;
            const std::string_view bytes =
                value.element.getLengthField() == 0 ? std::string_view() : bytesAt(value.element, 0, buffer);
            return withoutPaddings(std::string(bytes), EVR_UN);
        };
        constexpr Uint32 kSmall = 0x10000;
        return first.element.getLengthField() <= kSmall && second.element.getLengthField() <= kSmall &&
               unpadded(first) == unpadded(second);
    }
    return false;
}

std::string ElementValues::shown(const ReadableElement& value) {
    if (DcmSequenceOfItems* sequence = deidentify::asSequence(value.element)) {
        return '(' + std::to_string(sequence->card()) + (sequence->card() == 1 ? " item)" : " items)");
    }
    const DcmEVR vr = vrOf(value.element);
    if (isText(vr)) {
        return cut(textOf(value, vr));
    }
    constexpr std::array kNumbers{EVR_AT, EVR_FD, EVR_FL, EVR_SL, EVR_SS, EVR_UL, EVR_US, EVR_SV, EVR_UV};
    if (std::ranges::find(kNumbers, vr) != kNumbers.end()) {
        return numbersOf(value.element);
    }
    return fragmentsOf(value.element) == nullptr ? hexadecimal(value.element) : "(compressed pixels)";
}

} // namespace radvex::compare
