#include "TextReplacement.h"

#include <algorithm>
#include <cctype>

#include "ElementWalk.h"
#include "dcmtk/dcmdata/dcmetinf.h"

namespace radvex::study {

namespace {

bool isWordPart(std::string_view text, std::size_t place) {
    return place < text.size() && std::isalnum(static_cast<unsigned char>(text[place])) != 0;
}

/// A dot ends a sentence or goes on with the UID.
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
               byte != 0x1B; // which changes the character set
    });
}

bool mayBeReplaced(DcmElement& element, const std::string& text) {
    constexpr std::size_t kLongestUnknown = 65536;
    return element.ident() != EVR_UN || (text.size() <= kLongestUnknown && isReadable(text));
}

} // namespace

std::string replaceIdentifiers(const std::string& text, const TextFinder& finder,
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

bool replaceIdentifiers(DcmFileFormat& file, const TextFinder& finder, const Originals& originals,
                        const GivenValues& given, std::vector<Change>* changes) {
    bool isChanged = false;
    const auto replace = [&](const Visit& visit) {
        if (!holdsText(visit.element) || given.contains(visit.element.getTag().getXTag())) {
            return;
        }
        const std::string before = textOf(visit.element);
        const std::string after =
            mayBeReplaced(visit.element, before) ? replaceIdentifiers(before, finder, originals.newOf) : before;
        if (after != before) {
            putText(visit.element, after);
            isChanged = true;
            if (changes != nullptr) {
                changes->push_back({visit.path(), before, after});
            }
        }
    };
    walkElements(*file.getMetaInfo(), nullptr, replace);
    walkElements(*file.getDataset(), nullptr, replace);
    return isChanged;
}

} // namespace radvex::study
