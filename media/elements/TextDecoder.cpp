#include "media/elements/TextDecoder.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "media/elements/EscapedText.h"

namespace radvex::media {

namespace {

constexpr char kEscape = 0x1B; // changes the character set within a text

/// Whether there is an escape sequence of ISO 2022, and not only one that means something to a terminal.
bool changesCharacterSet(std::string_view text) {
    constexpr std::string_view kIntermediate = "$()*+-./";
    for (std::size_t escape = text.find(kEscape); escape != std::string_view::npos;
         escape = text.find(kEscape, escape + 1)) {
        if (escape + 1 < text.size() && kIntermediate.find(text[escape + 1]) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

/// Without a change to ASCII where the text begins, which changes nothing, and which DCMTK's conversion refuses.
std::string withoutFirstEscape(const std::string& bytes) {
    constexpr std::string_view kToAscii = "\x1B(B";
    return bytes.starts_with(kToAscii) ? bytes.substr(kToAscii.size()) : bytes;
}

/// Characters behind which the text is in the default character set again (PS3.5, 6.1.2.5.3).
const char* delimitersOf(DcmEVR vr) {
    return vr == EVR_PN ? "\\^=" : vr == EVR_LO || vr == EVR_SH || vr == EVR_UC ? "\\" : "";
}

} // namespace

bool hasCharacterSet(DcmEVR vr) {
    constexpr std::array kTypes{EVR_LO, EVR_LT, EVR_PN, EVR_SH, EVR_ST, EVR_UC, EVR_UT};
    return std::ranges::find(kTypes, vr) != kTypes.end();
}

bool hasOneReading(std::string_view text) {
    return std::ranges::all_of(text, [](char byte) { return static_cast<signed char>(byte) >= 0 && byte != kEscape; });
}

bool isUtf8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

std::string latin1AsUtf8(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        utf8::append(static_cast<char32_t>(static_cast<unsigned char>(byte)), std::back_inserter(text));
    }
    return text;
}

DcmSpecificCharacterSet* TextDecoder::converterOf(const std::string& characterSet) {
    const auto known = mConverters.find(characterSet);
    if (known != mConverters.end()) {
        return known->second.get();
    }
    auto converter = std::make_unique<DcmSpecificCharacterSet>();
    const OFString name(characterSet.data(), characterSet.size());
    if (characterSet.empty() || converter->selectCharacterSet(name, "ISO_IR 192").bad()) {
        converter.reset();
    }
    return mConverters.emplace(characterSet, std::move(converter)).first->second.get();
}

std::string TextDecoder::utf8(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    auto text = known(bytes, vr, characterSet);
    return text ? *std::move(text) : latin1AsUtf8(withoutFirstEscape(bytes));
}

std::optional<std::string> TextDecoder::known(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    std::string text = withoutFirstEscape(bytes);
    if (hasOneReading(text)) {
        return text;
    }
    if (!hasCharacterSet(vr)) { // ASCII, or wrong
        return isUtf8(text) ? std::optional(text) : std::nullopt;
    }
    if (DcmSpecificCharacterSet* converter = converterOf(characterSet)) {
        OFString converted;
        const OFString original(text.data(), text.size());
        if (converter->convertString(original, converted, delimitersOf(vr)).good() &&
            isUtf8({converted.c_str(), converted.size()}) && converted.find(kEscape) == OFString_npos) {
            return std::string(converted.c_str(), converted.size());
        }
    }
    if (changesCharacterSet(text) || characterSet.find("2022") != std::string::npos) {
        return utf8FromEscapes(text, characterSet, delimitersOf(vr));
    }
    return isUtf8(text) ? std::optional(text) : std::nullopt;
}

} // namespace radvex::media
