#include "cli/tags/DicomJson.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <span>
#include <string_view>

#include "cli/arguments/Words.h"
#include "formats/json/Base64.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

using media::Element;

template <std::size_t count>
bool isAmong(const std::string& vr, const std::array<std::string_view, count>& list) {
    return std::ranges::find(list, vr) != list.end();
}

bool isWhole(const std::string& vr) {
    static constexpr std::array<std::string_view, 7> kWhole{"IS", "SL", "SS", "SV", "UL", "US", "UV"};
    return isAmong(vr, kWhole);
}

bool isReal(const std::string& vr) {
    static constexpr std::array<std::string_view, 3> kReal{"DS", "FD", "FL"};
    return isAmong(vr, kReal);
}

std::vector<std::string> split(const std::string& text, char mark) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(mark, start), text.size());
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

/// Number texts may have blanks around them and a plus sign in front.
std::string withoutOrnament(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    const std::size_t last = text.find_last_not_of(' ');
    const std::string inner = first == std::string::npos ? "" : text.substr(first, last + 1 - first);
    return inner.starts_with('+') ? inner.substr(1) : inner;
}

/// The number as JSON writes it; empty for what is no number, or none that JSON has.
std::string numberText(const std::string& vr, const std::string& text) {
    const std::string bare = withoutOrnament(text);
    if (isWhole(vr)) {
        // Readers of JSON keep numbers as reals, which hold no larger ones exactly.
        constexpr std::int64_t kLargest = (std::int64_t{1} << 53) - 1;
        const auto number = parseNumber<std::int64_t>(bare);
        return number && *number >= -kLargest && *number <= kLargest ? std::to_string(*number) : "";
    }
    const auto number = parseNumber<double>(bare);
    if (!number || !std::isfinite(*number)) {
        return "";
    }
    const std::string shortest = formats::shortestText(*number);
    return shortest.find_first_of(".e") == std::string::npos ? shortest + ".0" : shortest;
}

/// "(0018,106a)" as the model writes it.
std::string tagDigits(const std::string& tag) {
    std::string digits;
    for (const char character : tag) {
        if (character != '(' && character != ',' && character != ')') {
            digits += character >= 'a' && character <= 'f' ? static_cast<char>(character - 'a' + 'A') : character;
        }
    }
    return digits;
}

void appendName(std::string& json, const std::string& name) {
    static constexpr std::array kGroups{"Alphabetic", "Ideographic", "Phonetic"};
    const std::vector<std::string> groups = split(name, '=');
    json += '{';
    bool isFirst = true;
    for (std::size_t index = 0; index < groups.size() && index < kGroups.size(); ++index) {
        if (!groups[index].empty()) {
            json.append(isFirst ? "\"" : ",\"").append(kGroups[index]).append("\":");
            formats::appendJsonText(json, groups[index]);
            isFirst = false;
        }
    }
    json += '}';
}

/// One of the values; an empty one among others is null (PS3.18, F.2.5).
void appendValue(std::string& json, const std::string& vr, const std::string& text) {
    if (text.empty()) {
        json += "null";
    } else if (vr == "PN") {
        appendName(json, text);
    } else if (const std::string number = isWhole(vr) || isReal(vr) ? numberText(vr, text) : ""; !number.empty()) {
        json += number;
    } else {
        formats::appendJsonText(json, vr == "AT" ? tagDigits(text) : text);
    }
}

void appendTexts(std::string& json, const Element& element) {
    if (element.text.find_first_not_of(" \\") == std::string::npos && !media::isOneText(element.vr)) {
        return; // blanks alone are no value
    }
    json += R"(,"Value":[)";
    const std::string& vr = element.vr;
    if (media::isOneText(vr)) {
        appendValue(json, vr, element.text);
    } else {
        bool isFirst = true;
        for (const std::string& value : split(element.text, '\\')) {
            json += isFirst ? "" : ",";
            isFirst = false;
            appendValue(json, vr, value);
        }
    }
    json += ']';
}

void appendItems(std::string& json, const Element& element) {
    json += R"(,"Value":[)";
    for (std::size_t index = 0; index < element.items.size(); ++index) {
        json += index == 0 ? "" : ",";
        appendDicomJson(json, element.items[index]);
    }
    json += ']';
}

/// JSON is UTF-8, whatever the file was (PS3.18, F.2).
bool isCharacterSet(const Element& element) { return element.group == 0x0008 && element.number == 0x0005; }

void appendElement(std::string& json, const Element& element) {
    char start[48];
    std::snprintf(start, sizeof start, R"("%04X%04X":{"vr":")", unsigned{element.group}, unsigned{element.number});
    json.append(start).append(element.vr).append("\"");
    if (element.isSequence() && !element.items.empty()) {
        appendItems(json, element);
    } else if (element.isBinary() && !element.bytes.empty()) {
        json += R"(,"InlineBinary":")";
        json += formats::toBase64(std::as_bytes(std::span(element.bytes)));
        json += '"';
    } else if (isCharacterSet(element) && !element.isEmpty) {
        json += R"(,"Value":["ISO_IR 192"])";
    } else if (!element.text.empty()) {
        appendTexts(json, element);
    }
    json += '}';
}

} // namespace

void appendDicomJson(std::string& json, const std::vector<Element>& elements) {
    json += '{';
    bool isFirst = true;
    for (const Element& element : elements) {
        if (!element.isMetaInformation()) {
            json += isFirst ? "" : ",";
            isFirst = false;
            appendElement(json, element);
        }
    }
    json += '}';
}

} // namespace radvex::cli
