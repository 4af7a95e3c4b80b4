#include "media/WrittenTexts.h"

#include <algorithm>
#include <functional>

#include "files/Errors.h"
#include "formats/json/Text.h"
#include "media/DatasetsModule.h"

namespace radvex::media {

namespace {

const char* const kCharacterSet = "SpecificCharacterSet";
const char* const kUtf8 = "ISO_IR 192";

std::optional<std::string> converted(const char* entryName, const std::string& text, const std::string& vr,
                                     const std::string& characterSet) {
    void* const entry = datasetsEntry(entryName, "Texts cannot be put into a character set");
    std::optional<std::string> result;
    reinterpret_cast<ConvertTextEntry>(entry)(text, vr, characterSet, result);
    return result;
}

bool isWide(const std::string& text) { return !formats::isAscii(text); }
bool isWideText(const formats::Attribute& attribute) { return !attribute.isBytes && isWide(attribute.value); }

const formats::Attribute* characterSetIn(const formats::Attributes& attributes) {
    const auto found = std::ranges::find(attributes, kCharacterSet, &formats::Attribute::keyword);
    return found == attributes.end() ? nullptr : &*found;
}

std::string characterSetOf(const formats::Attributes& attributes, const std::string& outer) {
    const formats::Attribute* own = characterSetIn(attributes);
    return own == nullptr || own->value.empty() ? outer : own->value;
}

bool namesCharacterSet(const formats::Attributes& attributes) {
    return characterSetIn(attributes) != nullptr || std::ranges::any_of(attributes, [](const auto& attribute) {
               return std::ranges::any_of(attribute.items, namesCharacterSet);
           });
}

/// Calls `visit` with every attribute that is no sequence, and the character set that holds there.
using VisitText = std::function<void(formats::Attribute& attribute, const std::string& characterSet)>;
void forEachText(formats::Attributes& attributes, const std::string& outer, const VisitText& visit) {
    const std::string characterSet = characterSetOf(attributes, outer);
    for (formats::Attribute& attribute : attributes) {
        for (formats::Attributes& item : attribute.items) {
            forEachText(item, characterSet, visit);
        }
        if (!attribute.isSequence) {
            visit(attribute, characterSet);
        }
    }
}

/// False, with nothing that counts in them, when a text does not fit.
bool encodeAll(formats::Attributes& attributes, std::vector<AddedText>& added, formats::Dictionary& dictionary) {
    bool doFit = true;
    const auto encode = [&](std::string& text, const std::string& vr, const std::string& characterSet) {
        if (doFit && characterSet != kUtf8) {
            const auto bytes = converted(kEncodeTextEntry, text, vr, characterSet);
            doFit = bytes.has_value();
            text = bytes.value_or("");
        }
    };
    forEachText(attributes, "", [&](formats::Attribute& attribute, const std::string& characterSet) {
        if (isWideText(attribute)) {
            encode(attribute.value, dictionary.vrOf(attribute.keyword), characterSet);
        }
    });
    for (AddedText& text : added) {
        if (isWide(text.text)) {
            encode(text.text, text.vr, characterSetOf(attributes, ""));
        }
    }
    return doFit;
}

void eraseCharacterSets(formats::Attributes& attributes) {
    std::erase_if(attributes, [](const auto& attribute) { return attribute.keyword == kCharacterSet; });
    for (formats::Attribute& attribute : attributes) {
        std::ranges::for_each(attribute.items, eraseCharacterSets);
    }
}

void makeUtf8(formats::Attributes& attributes, formats::Dictionary& dictionary) {
    forEachText(attributes, "", [&](formats::Attribute& attribute, const std::string& characterSet) {
        if (!attribute.isBytes) {
            return;
        }
        const auto text =
            converted(kDecodeTextEntry, attribute.value, dictionary.vrOf(attribute.keyword), characterSet);
        if (!text) {
            throw FileError(attribute.source + ": these bytes are no text in the character set of the file, which has "
                                               "to become UTF-8 for another text.");
        }
        attribute.value = *text;
    });
    eraseCharacterSets(attributes);
    attributes.push_back({.keyword = kCharacterSet, .source = "The metadata", .value = kUtf8});
}

} // namespace

std::string withReplacements(const std::string& bytes, const std::string& vr, const std::string& characterSet) {
    return converted(kReplaceTextEntry, bytes, vr, characterSet).value_or("");
}

void encodeTexts(formats::Attributes& attributes, std::vector<AddedText>& added, formats::Dictionary& dictionary) {
    const bool isAddedWide = std::ranges::any_of(added, isWide, &AddedText::text);
    if (!formats::hasWideText(attributes) && !isAddedWide) {
        return;
    }
    if (!namesCharacterSet(attributes)) {
        attributes.push_back({.keyword = kCharacterSet, .source = "The metadata", .value = kUtf8});
        return;
    }
    formats::Attributes encoded = attributes;
    std::vector<AddedText> encodedAdded = added;
    if (encodeAll(encoded, encodedAdded, dictionary)) {
        attributes = std::move(encoded);
        added = std::move(encodedAdded);
    } else {
        makeUtf8(attributes, dictionary);
    }
}

} // namespace radvex::media
