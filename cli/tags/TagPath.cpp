#include "cli/tags/TagPath.h"

#include <algorithm>
#include <charconv>
#include <regex>

#include "cli/arguments/Suggestions.h"
#include "cli/arguments/Words.h"
#include "files/Errors.h"
#include "formats/json/Dictionary.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

constexpr std::size_t kLongestPath = 4096;

std::uint16_t fromHexadecimal(const std::string& digits) {
    std::uint16_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return number;
}

/// "Sequence[0].PatientID" at every dot behind an index: creators of private attributes may have dots in their names.
std::vector<std::string> partsOf(const std::string& words) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t end = words.find("]."); end != std::string::npos; end = words.find("].", start)) {
        parts.push_back(words.substr(start, end + 1 - start));
        start = end + 2;
    }
    parts.push_back(words.substr(start));
    return parts;
}

/// Takes "[0]" or "[*]" from the end of a part of a path.
void takeIndex(std::string& part, TagStep& step, const std::string& words) {
    const std::size_t open = part.rfind('[');
    if (part.empty() || part.back() != ']' || open == std::string::npos) {
        return;
    }
    const std::string index = part.substr(open + 1, part.size() - open - 2);
    part.resize(open);
    step.everyItem = index == "*";
    step.item = parseNumber<std::size_t>(index);
    if (!step.everyItem && !step.item) {
        throw UsageError("'" + words + "': [" + index + "] is no item: a number from 0 is expected, or * for all.");
    }
}

/// "CREATOR:0029,10" and "(0029,xx10) CREATOR". @return false for any other text
bool takePrivate(const std::string& part, TagStep& step, const std::string& words) {
    static const std::regex creatorFirst(R"((.+):\(?([0-9A-Fa-f]{1,4}),(?:xx|[0-9A-Fa-f]{2})?([0-9A-Fa-f]{1,2})\)?)");
    static const std::regex numberFirst(R"(\(?([0-9A-Fa-f]{1,4}),(?:xx|[0-9A-Fa-f]{2})?([0-9A-Fa-f]{1,2})\)? +(.+))");
    std::smatch found;
    if (std::regex_match(part, found, creatorFirst)) {
        step.creator = found[1];
        step.group = fromHexadecimal(found[2]);
        step.number = fromHexadecimal(found[3]);
    } else if (std::regex_match(part, found, numberFirst)) {
        step.group = fromHexadecimal(found[1]);
        step.number = fromHexadecimal(found[2]);
        step.creator = found[3];
    } else {
        return false;
    }
    if (step.group % 2 == 0) {
        throw UsageError("'" + words + "': only private attributes have a creator, and their group is odd.");
    }
    return true;
}

void takeKeyword(velmora::Host& host, const std::string& part, TagStep& step, std::string& keyword) {
    if (const std::size_t dot = part.find('.'); dot != std::string::npos && dot > 0) {
        const std::string sequence = part.substr(0, dot);
        const std::string rest = part.substr(dot);
        throw UsageError("'" + part + "' does not say which item of the sequence: write " + sequence + "[0]" + rest +
                         " for the first one, or " + sequence + "[*]" + rest + " for all.");
    }
    keyword = knownKeyword(host, part);
    const auto tag = formats::Dictionary(host).tagOf(keyword);
    step.group = tag.group;
    step.number = tag.element;
}

bool hasIndex(const TagStep& step) { return step.item.has_value() || step.everyItem; }

TagStep parseStep(velmora::Host& host, std::string part, const std::string& words, std::string& keyword) {
    TagStep step;
    takeIndex(part, step, words);
    if (takePrivate(part, step, words)) {
        return step;
    }
    if (const auto number = parseTagNumber(part)) {
        step.group = fromHexadecimal(number->first);
        step.number = fromHexadecimal(number->second);
    } else {
        takeKeyword(host, part, step, keyword);
    }
    return step;
}

void find(const std::vector<media::Element>& elements, const TagPath& path, std::size_t level,
          const std::string& prefix, std::vector<FoundElement>& found) {
    const TagStep& step = path.steps[level];
    for (const media::Element& element : elements) {
        if (!matches(step, element)) {
            continue;
        }
        const std::string key = prefix + media::keyOf(element);
        if (level + 1 == path.steps.size()) {
            found.push_back({key, &element});
            continue;
        }
        for (std::size_t item = 0; item < element.items.size(); ++item) {
            if (step.everyItem || item == *step.item) {
                find(element.items[item], path, level + 1, key + "[" + std::to_string(item) + "].", found);
            }
        }
    }
}

} // namespace

std::string knownKeyword(velmora::Host& host, const std::string& keyword) {
    try {
        (void)formats::Dictionary(host).tagOf(keyword);
        return keyword;
    } catch (const velmora::LibraryError& error) {
        if (error.name() != "InvalidTagName") {
            throw;
        }
    }
    const std::string typed = inLowerCase(keyword);
    std::vector<std::string> keywords;
    for (const media::KnownAttribute& attribute : media::knownAttributes()) {
        if (inLowerCase(attribute.keyword) == typed) {
            return attribute.keyword;
        }
        keywords.push_back(attribute.keyword);
    }
    throw Error("There is no attribute '" + formats::shortened(keyword) + "'" + didYouMean(keyword, keywords));
}

std::string messageOf(const velmora::LibraryError& error) {
    static const std::string kBefore = "Attribute tag named ";
    static const std::string kBehind = " does not exist.";
    std::string message = error.what();
    if (error.name() != "InvalidTagName" || !message.starts_with(kBefore) || !message.ends_with(kBehind)) {
        return message;
    }
    const std::string word = message.substr(kBefore.size(), message.size() - kBefore.size() - kBehind.size());
    if (word.find('#') != std::string::npos) { // of a further overlay plane, and no misspelling
        return message;
    }
    std::vector<std::string> keywords;
    for (const media::KnownAttribute& attribute : media::knownAttributes()) {
        keywords.push_back(attribute.keyword);
    }
    return message.substr(0, message.size() - 1) + didYouMean(word, keywords);
}

TagPath parseTagPath(velmora::Host& host, const std::string& words) {
    if (words.size() > kLongestPath) {
        throw UsageError("'" + formats::shortened(words) + "' is too long for an attribute.");
    }
    TagPath path{.words = words};
    const std::vector<std::string> parts = partsOf(words);
    for (const std::string& part : parts) {
        std::string keyword;
        path.steps.push_back(parseStep(host, part, words, keyword));
        path.keyword = parts.size() == 1 ? keyword : "";
        if (path.steps.size() < parts.size() && !hasIndex(path.last())) {
            std::string problem = "'";
            problem.append(words).append("': '").append(part);
            throw UsageError(problem.append("' does not say which item: [0] is the first, [*] are all."));
        }
    }
    if (hasIndex(path.last())) {
        throw UsageError("'" + words + "' names items and no attribute: write " + words +
                         ".KEYWORD, or the sequence without an index for all of it.");
    }
    return path;
}

bool matches(const TagStep& step, const media::Element& element) {
    if (step.group != element.group) {
        return false;
    }
    return step.creator.empty() ? step.number == element.number
                                : step.creator == element.creator && (step.number & 0xFF) == (element.number & 0xFF);
}

std::vector<FoundElement> findElements(const std::vector<media::Element>& elements, const TagPath& path) {
    std::vector<FoundElement> found;
    find(elements, path, 0, "", found);
    return found;
}

} // namespace radvex::cli
