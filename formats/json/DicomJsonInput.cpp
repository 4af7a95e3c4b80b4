#include "formats/json/DicomJsonInput.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "files/Errors.h"
#include "formats/json/Base64.h"
#include "formats/json/Text.h"

namespace radvex::formats {

namespace {

/// The library refuses deeper nesting as well.
constexpr int kMostModelLevels = 100;

[[noreturn]] void refuseModel(const std::string& source, const std::string& sentence) {
    throw FileError(source + ": " + sentence);
}

bool isTag(const std::string& key) {
    return key.size() == 8 && std::ranges::all_of(key, [](char digit) {
               return (digit >= '0' && digit <= '9') || (digit >= 'A' && digit <= 'F') ||
                      (digit >= 'a' && digit <= 'f');
           });
}

bool isModel(const Json& json) {
    return json.is_object() && !json.empty() &&
           std::ranges::all_of(json.items(), [](const auto& member) { return isTag(member.key()); });
}

std::vector<std::byte> bytesOf(const Json& text, const std::string& source) {
    if (!text.is_string()) {
        refuseModel(source, "InlineBinary has to be a text in base64.");
    }
    try {
        return fromBase64(text.get<std::string>());
    } catch (const std::invalid_argument& error) {
        refuseModel(source, error.what());
    }
}

/// The numbers in little-endian bytes, as DCMTK reads the text of such attributes: bytes and words in hexadecimal.
template <typename Number>
std::string numbersIn(const std::vector<std::byte>& bytes, const std::string& source) {
    if (bytes.size() % sizeof(Number) != 0) {
        refuseModel(source, "InlineBinary has " + std::to_string(bytes.size()) +
                                " bytes, which are no whole numbers of " + std::to_string(sizeof(Number)) + " bytes.");
    }
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += sizeof(Number)) {
        Number number{};
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), sizeof(Number),
                    reinterpret_cast<std::byte*>(&number));
        std::array<char, 64> digits{};
        char* const first = digits.data();
        if constexpr (std::is_floating_point_v<Number>) {
            text.append(start == 0 ? "" : "\\").append(first, std::to_chars(first, first + digits.size(), number).ptr);
        } else {
            const int base = sizeof(Number) <= 2 ? 16 : 10;
            text.append(start == 0 ? "" : "\\")
                .append(first, std::to_chars(first, first + digits.size(), number, base).ptr);
        }
    }
    return text;
}

std::string binaryText(const std::string& vr, const Json& text, const std::string& source) {
    const std::vector<std::byte> bytes = bytesOf(text, source);
    if (vr == "OB") {
        return numbersIn<std::uint8_t>(bytes, source);
    }
    if (vr == "OW") {
        return numbersIn<std::uint16_t>(bytes, source);
    }
    if (vr == "OL") {
        return numbersIn<std::uint32_t>(bytes, source);
    }
    if (vr == "OV") {
        return numbersIn<std::uint64_t>(bytes, source);
    }
    if (vr == "OF") {
        return numbersIn<float>(bytes, source);
    }
    if (vr == "OD") {
        return numbersIn<double>(bytes, source);
    }
    refuseModel(source, "bytes of the value representation " + printable(vr) + " cannot be written.");
}

std::string nameText(const Json& name, const std::string& source) {
    std::string text;
    std::size_t empty = 0; // groups that were left out so far
    for (const char* group : {"Alphabetic", "Ideographic", "Phonetic"}) {
        if (name.contains(group)) {
            if (!name[group].is_string()) {
                refuseModel(source, std::string(group) + " has to be a text.");
            }
            text.append(empty, '=').append(name[group].get<std::string>());
            empty = 0;
        }
        ++empty;
    }
    return text;
}

/// A decimal string has up to 16 characters (PS3.5, 6.2).
std::string realText(const std::string& vr, double number) {
    constexpr std::size_t kLongestDecimal = 16;
    std::string text = shortestText(number);
    for (int digits = 16; vr == "DS" && text.size() > kLongestDecimal && digits > 0; --digits) {
        std::array<char, 40> shorter{};
        std::snprintf(shorter.data(), shorter.size(), "%.*g", digits, number);
        text = shorter.data();
    }
    return text;
}

std::string valueText(const std::string& vr, const Json& value, const std::string& source) {
    if (value.is_null()) {
        return "";
    }
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (vr == "PN" && value.is_object()) {
        return nameText(value, source);
    }
    if (value.is_number_float()) {
        return realText(vr, value.get<double>());
    }
    if (value.is_number()) {
        return dumpJson(value);
    }
    refuseModel(source,
                "a value of the representation " + printable(vr) + " cannot be " + shortened(dumpJson(value)) + ".");
}

/// "(gggg,eeee)" as DCMTK reads a tag.
std::string tagText(const std::string& digits, const std::string& source) {
    if (!isTag(digits)) {
        refuseModel(source, "a tag of eight hexadecimal digits is expected, but " + shortened(digits) + " is given.");
    }
    return "(" + digits.substr(0, 4) + "," + digits.substr(4) + ")";
}

class ModelConverter {
  public:
    ModelConverter(Dictionary& dictionary, LeftOut& leftOut) : mDictionary(dictionary), mLeftOut(leftOut) {}

    Attributes convert(const Json& object, const std::string& source, int level) {
        Attributes attributes;
        for (const auto& member : object.items()) {
            const std::string memberSource = source + printable(member.key());
            if (!isTag(member.key()) || !member.value().is_object()) {
                refuseModel(memberSource, "a tag of eight hexadecimal digits with an object is expected.");
            }
            if (isWritten(member.key(), level)) {
                attributes.push_back(convertMember(member.key(), member.value(), memberSource, level));
            }
        }
        return attributes;
    }

  private:
    bool isWritten(const std::string& tag, int level) {
        const std::string& keyword = mDictionary.keywordOf(tag);
        if (tag.starts_with("0002") || keyword == "SpecificCharacterSet" || tag.ends_with("0000")) {
            return false; // the writer knows them better
        }
        return !mLeftOut.holds(keyword, keyword.empty() ? tag : keyword, level);
    }

    Attribute convertMember(const std::string& tag, const Json& member, const std::string& source, int level) {
        const std::string& keyword = mDictionary.keywordOf(tag);
        Attribute attribute{.keyword = keyword, .source = source + " (" + keyword + ")"};
        const std::string& label = attribute.source;
        if (!member.contains("vr") || !member["vr"].is_string()) {
            refuseModel(label, "the value representation (vr) is missing.");
        }
        const std::string vr = member["vr"].get<std::string>();
        if (member.contains("BulkDataURI")) {
            refuseModel(label,
                        "its value is elsewhere (BulkDataURI) and is not fetched; only InlineBinary can be written.");
        }
        if (member.contains("InlineBinary")) {
            attribute.value = binaryText(vr, member["InlineBinary"], label);
        } else if (vr == "SQ") {
            attribute.isSequence = true;
            attribute.items = convertItems(member, label, level);
        } else {
            attribute.value = joinedValues(vr, member, label);
        }
        return attribute;
    }

    static const Json& valuesOf(const Json& member, const std::string& source) {
        static const Json kNone = Json::array();
        if (!member.contains("Value")) {
            return kNone;
        }
        if (!member["Value"].is_array()) {
            refuseModel(source, "Value has to be a list.");
        }
        return member["Value"];
    }

    static std::string joinedValues(const std::string& vr, const Json& member, const std::string& source) {
        std::string joined;
        bool isFirst = true;
        for (const Json& value : valuesOf(member, source)) {
            const std::string text = valueText(vr, value, source);
            if (text.find('\0') != std::string::npos) {
                refuseModel(source, "a text cannot contain a zero character.");
            }
            joined += isFirst ? "" : "\\";
            joined += vr == "AT" && !text.empty() ? tagText(text, source) : text;
            isFirst = false;
        }
        return joined;
    }

    std::vector<Attributes> convertItems(const Json& member, const std::string& source, int level) {
        if (level >= kMostModelLevels) {
            refuseModel(source, "sequences are nested more than 100 deep.");
        }
        std::vector<Attributes> items;
        for (const Json& item : valuesOf(member, source)) {
            const std::string itemSource = source + ", item " + std::to_string(items.size() + 1);
            if (!item.is_object()) {
                refuseModel(itemSource, "the items of a sequence have to be objects.");
            }
            items.push_back(convert(item, itemSource + ", ", level + 1));
        }
        return items;
    }

    Dictionary& mDictionary;
    LeftOut& mLeftOut;
};

} // namespace

bool isDicomJson(const Json& json) {
    return isModel(json) || (json.is_array() && json.size() == 1 && isModel(json.front()));
}

Attributes attributesFromDicomJson(const std::string& name, const Json& json, Dictionary& dictionary,
                                   LeftOut& leftOut) {
    return ModelConverter(dictionary, leftOut).convert(json.is_array() ? json.front() : json, name + ": at ", 0);
}

} // namespace radvex::formats
