#include "text/TextDecoder.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "text/EscapedText.h"

namespace radvex::text {

namespace {

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

bool hasExtensions(const std::string& characterSet) { return characterSet.find("2022") != std::string::npos; }

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

std::string_view delimitersOf(DcmEVR vr) {
    const OFString& delimiters = DcmVR(vr).getDelimiterChars(); // of DCMTK's table of types
    return {delimiters.c_str(), delimiters.size()};
}

TextDecoder::Reading& TextDecoder::readingOf(const std::string& characterSet) {
    const auto known = mReadings.find(characterSet);
    if (known != mReadings.end()) {
        return known->second;
    }
    auto dcmtk = std::make_unique<DcmSpecificCharacterSet>();
    const OFString name(characterSet.data(), characterSet.size());
    const OFCondition selected = dcmtk->selectCharacterSet(name, "ISO_IR 192");
    if (selected.bad()) {
        requireMemory(selected);
        dcmtk.reset();
    }
    return mReadings.emplace(characterSet, Reading{std::move(dcmtk), declaredSets(characterSet)}).first->second;
}

bool TextDecoder::isKnown(const std::string& characterSet) {
    const Reading& reading = readingOf(characterSet);
    return reading.dcmtk != nullptr || reading.sets.isKnown;
}

std::optional<std::string> TextDecoder::byDcmtk(Reading& reading, const std::string& bytes, DcmEVR vr) {
    if (reading.dcmtk == nullptr) {
        return std::nullopt;
    }
    OFString text;
    const OFCondition done =
        reading.dcmtk->convertString(bytes.data(), bytes.size(), text, DcmVR(vr).getDelimiterChars());
    if (done.bad()) {
        requireMemory(done);
        return std::nullopt;
    }
    return std::string(text.c_str(), text.size());
}

std::optional<std::string> TextDecoder::bySets(const Reading& reading, const std::string& bytes, DcmEVR vr) {
    return reading.sets.whole != nullptr
               ? mConverters.toUtf8(reading.sets.whole, bytes)
               : utf8FromEscapes(bytes, reading.sets, delimitersOf(vr), NoCharacter::Refuse, mConverters);
}

std::optional<std::string> TextDecoder::converted(const std::string& bytes, DcmEVR vr,
                                                  const std::string& characterSet) {
    Reading& reading = readingOf(characterSet);
    auto text = byDcmtk(reading, bytes, vr);
    const bool hasSeveralSets = characterSet.find('\\') != std::string::npos;
    // Between sets of one and of two bytes DCMTK may lose count, and take an escape for half of a character.
    if (text && (!hasSeveralSets || text->find(kEscape) == std::string::npos)) {
        return text;
    }
    auto ours = bySets(reading, bytes, vr);
    return ours ? ours : text;
}

std::string TextDecoder::utf8(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    if (auto text = known(bytes, vr, characterSet)) {
        return *std::move(text);
    }
    const std::string text = withoutFirstEscape(bytes);
    const bool hasSets = hasCharacterSet(vr) && (changesCharacterSet(text) || hasExtensions(characterSet));
    if (!hasSets) {
        return latin1AsUtf8(text);
    }
    const DeclaredSets& sets = readingOf(characterSet).sets;
    return *utf8FromEscapes(text, sets, delimitersOf(vr), NoCharacter::ReplaceOrGuess, mConverters);
}

std::string TextDecoder::withReplacements(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    if (auto text = known(bytes, vr, characterSet)) {
        return *std::move(text);
    }
    const std::string text = withoutFirstEscape(bytes);
    const DeclaredSets& sets = readingOf(hasCharacterSet(vr) ? characterSet : "").sets;
    return sets.whole != nullptr ? wholeWithReplacements(sets.whole, text)
                                 : *utf8FromEscapes(text, sets, delimitersOf(vr), NoCharacter::Replace, mConverters);
}

std::string TextDecoder::wholeWithReplacements(const char* encoding, std::string_view bytes) {
    constexpr std::size_t kLongest = 4; // bytes of a character
    std::string text;
    while (!bytes.empty()) {
        std::optional<std::string> character;
        std::size_t size = 0;
        while (!character && size < std::min(kLongest, bytes.size())) {
            character = mConverters.toUtf8(encoding, bytes.substr(0, ++size));
        }
        text += character.value_or("\xEF\xBF\xBD");
        bytes.remove_prefix(character ? size : 1);
    }
    return text;
}

std::optional<std::string> TextDecoder::known(const std::string& bytes, DcmEVR vr, const std::string& characterSet) {
    const std::string text = withoutFirstEscape(bytes);
    if (hasOneReading(text)) {
        return text;
    }
    if (!hasCharacterSet(vr)) { // ASCII, or wrong
        return isUtf8(text) ? std::optional(text) : std::nullopt;
    }
    Reading& reading = readingOf(characterSet);
    if (auto byDcmtks = byDcmtk(reading, text, vr);
        byDcmtks && isUtf8(*byDcmtks) && byDcmtks->find(kEscape) == std::string::npos) {
        return byDcmtks;
    }
    if (auto ours = bySets(reading, text, vr)) {
        return ours;
    }
    const bool hasSets = hasExtensions(characterSet) && text.find(kEscape) != std::string::npos;
    return !hasSets && !changesCharacterSet(text) && isUtf8(text) ? std::optional(text) : std::nullopt;
}

} // namespace radvex::text
