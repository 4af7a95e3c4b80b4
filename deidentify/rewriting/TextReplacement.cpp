#include "deidentify/rewriting/TextReplacement.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include "dcmtk/dcmdata/dcmetinf.h"
#include "deidentify/rewriting/DatasetWalk.h"

namespace radvex::deidentify {

namespace {

bool isWordPart(std::string_view text, std::size_t index) {
    return index < text.size() && std::isalnum(static_cast<unsigned char>(text[index])) != 0;
}

/// A dot between two letters or digits belongs to the word, as in a UID. Any other dot ends a sentence.
bool isWord(std::string_view text, std::size_t begin, std::size_t end) {
    const bool goesOnBefore = begin > 0 && (isWordPart(text, begin - 1) ||
                                            (text[begin - 1] == '.' && begin > 1 && isWordPart(text, begin - 2)));
    const bool goesOnAfter =
        isWordPart(text, end) || (end < text.size() && text[end] == '.' && isWordPart(text, end + 1));
    return !goesOnBefore && !goesOnAfter;
}

bool isReadable(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 && byte != '\0' && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f' &&
               byte != 0x1B; // escape, which changes the character set
    });
}

/// Codes, numbers, dates and UIDs that name a kind have to stay the same, even when a PatientID looks like one.
bool holdsFreeText(DcmElement& element) {
    constexpr std::array kFreeTexts{EVR_LO, EVR_LT, EVR_PN, EVR_SH, EVR_ST, EVR_UC, EVR_UR, EVR_UT};
    return isOfUnknownType(element) || std::ranges::find(kFreeTexts, element.ident()) != kFreeTexts.end();
}

/// Bytes that are no text, such as private blocks and documents.
bool holdsBytes(DcmElement& element) {
    constexpr Uint16 kPixelGroup = 0x7FE0;
    constexpr Uint32 kLongest = Uint32{1} << 26;
    const bool isText = element.ident() != EVR_OB && (!isOfUnknownType(element) || isReadable(textOf(element)));
    return !isText && element.getTag().getGroup() != kPixelGroup && element.getLengthField() <= kLongest;
}

std::string bytesOf(DcmElement& element) {
    Uint8* bytes = nullptr;
    const bool isHeld = element.getUint8Array(bytes).good() && bytes != nullptr;
    return isHeld ? std::string(reinterpret_cast<const char*>(bytes), element.getLength()) : std::string();
}

std::string overwriteIdentifiers(std::string bytes, const TextFinder& finder) {
    for (const TextFinder::Find& find : finder.findAll(bytes)) {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(find.begin);
        std::replace_if(
            begin, begin + static_cast<std::ptrdiff_t>(find.text.size()),
            [](unsigned char byte) { return std::isalnum(byte) != 0; }, '0');
    }
    return bytes;
}

std::string withoutIdentifiers(const std::string& text, const TextFinder& finder,
                               const std::map<std::string, std::string>& newOf) {
    std::string result;
    std::size_t done = 0;
    for (const TextFinder::Find& find : finder.findAll(text)) {
        const auto known = newOf.find(std::string(find.text));
        const std::size_t end = find.begin + find.text.size();
        if (find.begin >= done && known != newOf.end() && isWord(text, find.begin, end)) {
            result.append(text, done, find.begin - done).append(known->second);
            done = end;
        }
    }
    return result.append(text, done);
}

/// Replaces identifiers in one value. @return the change without its attribute; nothing when there is none
std::optional<Change> replaceIn(DcmElement& element, const TextFinder& finder, const Originals& originals) {
    if (holdsBytes(element)) {
        const std::string before = bytesOf(element);
        const std::string after = overwriteIdentifiers(before, finder);
        if (after == before ||
            element.putUint8Array(reinterpret_cast<const Uint8*>(after.data()), after.size()).bad()) {
            return std::nullopt; // an identifier that is left is found by the last check of the file
        }
        return Change{"", "(bytes)", "(bytes without identifiers)"};
    }
    if (!holdsFreeText(element)) {
        return std::nullopt;
    }
    const std::string before = textOf(element);
    const std::string after = withoutIdentifiers(before, finder, originals.newOf);
    if (after == before) {
        return std::nullopt;
    }
    putText(element, after);
    return Change{"", before, after};
}

} // namespace

bool replaceIdentifiers(DcmFileFormat& file, const TextFinder& finder, const Identities& identities,
                        std::vector<Change>* changes) {
    bool isChanged = false;
    const auto replace = [&](const Visit& visit) {
        if (identities.given().contains(visit.element.getTag().getXTag())) {
            return;
        }
        if (auto change = replaceIn(visit.element, finder, identities.originals())) {
            isChanged = true;
            if (changes != nullptr) {
                change->attribute = visit.path();
                changes->push_back(std::move(*change));
            }
        }
    };
    walkElements(*file.getMetaInfo(), nullptr, replace);
    walkElements(*file.getDataset(), nullptr, replace);
    return isChanged;
}

} // namespace radvex::deidentify
