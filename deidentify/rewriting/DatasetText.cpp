#include "deidentify/rewriting/DatasetText.h"

#include <algorithm>
#include <array>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/Pseudonyms.h"
#include "media/elements/EscapedText.h"

#include <utf8.h>

namespace radvex::deidentify {

namespace {

constexpr char kEscape = 0x1B; // changes the character set within a text

/// No set at all, or one of those of western, central and southern Europe.
bool isLatin(const std::string& characterSet) {
    static constexpr std::array<std::string_view, 7> kSets{"",           "ISO_IR 6",   "ISO_IR 100", "ISO_IR 101",
                                                           "ISO_IR 109", "ISO_IR 110", "ISO_IR 148"};
    return std::ranges::find(kSets, characterSet) != kSets.end();
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

bool hasOneReading(std::string_view text) {
    return std::ranges::all_of(text, [](char byte) { return static_cast<signed char>(byte) >= 0 && byte != kEscape; });
}

std::string latin1AsUtf8(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        utf8::append(static_cast<char32_t>(static_cast<unsigned char>(byte)), std::back_inserter(text));
    }
    return text;
}

bool isUtf8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

bool hasCharacterSet(DcmEVR vr) {
    constexpr std::array kTypes{EVR_LO, EVR_LT, EVR_PN, EVR_SH, EVR_ST, EVR_UC, EVR_UT};
    return std::ranges::find(kTypes, vr) != kTypes.end();
}

std::string characterSetOf(DcmItem& item, const std::string& outerSet) {
    OFString value;
    const bool isDeclared = item.findAndGetOFStringArray(DCM_SpecificCharacterSet, value).good() && !value.empty();
    return isDeclared ? std::string(withoutPadding({value.c_str(), value.size()})) : outerSet;
}

DcmSpecificCharacterSet* TextDecoder::converterOf(const std::string& characterSet) {
    const auto known = mConverters.find(characterSet);
    if (known != mConverters.end()) {
        return known->second.get();
    }
    auto converter = std::make_unique<DcmSpecificCharacterSet>();
    if (characterSet.empty() ||
        converter->selectCharacterSet(OFString(characterSet.data(), characterSet.size()), "ISO_IR 192").bad()) {
        converter.reset();
    }
    return mConverters.emplace(characterSet, std::move(converter)).first->second.get();
}

std::string TextDecoder::utf8(DcmElement& element, const std::string& characterSet) {
    std::string bytes = withoutFirstEscape(textOf(element));
    if (hasOneReading(bytes)) {
        return bytes;
    }
    if (!hasCharacterSet(element.ident())) {
        return isUtf8(bytes) ? bytes : latin1AsUtf8(bytes);
    }
    if (isLatin(characterSet) && isUtf8(bytes) && bytes.find(kEscape) == std::string::npos) {
        return bytes; // no Latin text looks like this by chance; some programs write it all the same
    }
    if (DcmSpecificCharacterSet* converter = converterOf(characterSet)) {
        OFString converted;
        const OFString original(bytes.data(), bytes.size());
        if (converter->convertString(original, converted, delimitersOf(element.ident())).good() &&
            isUtf8({converted.c_str(), converted.size()}) && converted.find(kEscape) == OFString_npos) {
            return {converted.c_str(), converted.size()};
        }
    }
    const bool isEscaped = bytes.find(kEscape) != std::string::npos;
    if (!isEscaped && isUtf8(bytes)) {
        return bytes;
    }
    const bool isExtended = isEscaped || characterSet.find("2022") != std::string::npos;
    return isExtended ? media::utf8FromEscapes(bytes, characterSet, delimitersOf(element.ident()))
                      : latin1AsUtf8(bytes);
}

void TextWriter::put(DcmElement& element, const std::string& utf8) {
    mWaiting.erase(&element);
    if (hasOneReading(utf8) || !hasCharacterSet(element.ident())) {
        putText(element, utf8);
    } else {
        putText(element, ""); // the old value is gone even if the new one is refused
        mWaiting[&element] = utf8;
    }
}

void TextWriter::finish() {
    if (mWaiting.empty()) {
        return;
    }
    forEachText(mDataset, "", [this](DcmElement& element, const std::string& characterSet) {
        if (hasCharacterSet(element.ident()) && !hasOneReading(textOf(element))) {
            putText(element, mDecoder.utf8(element, characterSet));
        }
    });
    (void)mDataset.findAndDeleteElement(DCM_SpecificCharacterSet, OFTrue, OFTrue); // of items too
    (void)mDataset.putAndInsertString(DCM_SpecificCharacterSet, "ISO_IR 192");
    for (const auto& [element, text] : mWaiting) {
        putText(*element, text);
    }
}

void forEachText(DcmItem& item, const std::string& outerSet,
                 const std::function<void(DcmElement& element, const std::string& characterSet)>& visit) {
    const std::string characterSet = characterSetOf(item, outerSet);
    for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr; object = item.nextInContainer(object)) {
        auto* element = dynamic_cast<DcmElement*>(object);
        DcmSequenceOfItems* sequence = element == nullptr ? nullptr : asSequence(*element);
        if (sequence == nullptr && element != nullptr) {
            visit(*element, characterSet);
        }
        for (DcmObject* inner = sequence == nullptr ? nullptr : sequence->nextInContainer(nullptr); inner != nullptr;
             inner = sequence->nextInContainer(inner)) {
            if (auto* innerItem = dynamic_cast<DcmItem*>(inner)) {
                forEachText(*innerItem, characterSet, visit);
            }
        }
    }
}

} // namespace radvex::deidentify
