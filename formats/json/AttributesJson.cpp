// Metadata from a JSON file.

#include <algorithm>
#include <charconv>
#include <functional>
#include <stdexcept>
#include <unordered_set>

#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/Attributes.h"
#include "formats/json/Base64.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::formats {

namespace {

/// More sequences inside each other are refused by the library as well.
constexpr int kMostLevels = 100;

[[noreturn]] void fail(const std::string& place, const std::string& sentence) {
    throw FileError(place + ": " + sentence);
}

/// Line and column, both from 1, of the byte that a parser stopped at.
std::string lineAndColumn(const std::string& text, std::size_t byte) {
    const std::size_t end = std::min(byte == 0 ? 0 : byte - 1, text.size());
    const auto lines = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    const std::size_t newline = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
    const std::size_t column = newline == std::string::npos ? end + 1 : end - newline;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column);
}

/// Of two equal keys in one object a JSON library keeps one without a word.
class RepeatedKeys {
  public:
    explicit RepeatedKeys(const std::string& name) : mName(name) {}

    bool operator()(int /*depth*/, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            mKeys.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            mKeys.pop_back();
        } else if (event == Json::parse_event_t::key && !mKeys.back().insert(parsed.get<std::string>()).second) {
            fail(mName, printable(parsed.get<std::string>()) + " stands twice in one object.");
        }
        return true;
    }

  private:
    const std::string& mName;
    std::vector<std::unordered_set<std::string>> mKeys{};
};

Json parse(const std::string& name, const std::string& text) {
    try {
        RepeatedKeys repeated(name);
        return Json::parse(text, std::ref(repeated));
    } catch (const Json::parse_error& error) {
        throw FileError(name + " is no JSON: something is wrong at " + lineAndColumn(text, error.byte) + ".");
    }
}

std::string realText(double number) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, number).ptr;
    return {text, end};
}

/// A text that is no UTF-8. No attribute has that keyword, so it is no item of a sequence.
bool isBytes(const Json& value) {
    return value.is_object() && value.size() == 1 && value.contains("bytes") && value["bytes"].is_string();
}

std::string textOfBytes(const Json& value, const std::string& place) {
    try {
        const auto bytes = fromBase64(value["bytes"].get<std::string>());
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    } catch (const std::invalid_argument& error) {
        fail(place, error.what());
    }
}

/// Turns the members of objects into attributes.
class Converter {
  public:
    explicit Converter(Dictionary& dictionary) : mDictionary(dictionary) {}

    /// @param place  where the object stands, with what separates it from a keyword: "meta.json: at "
    Attributes convert(const Json& object, const std::string& place, int level) {
        Attributes attributes;
        for (const auto& member : object.items()) {
            attributes.push_back(convertMember(member.key(), member.value(), place + printable(member.key()), level));
        }
        return attributes;
    }

  private:
    Attribute convertMember(const std::string& keyword, const Json& value, const std::string& place, int level) {
        if (keyword.find('\0') != std::string::npos) {
            fail(place, "a keyword has no zero character.");
        }
        if (mDictionary.isFileMetaInformation(keyword)) {
            fail(place, "the library alone writes the file's meta information.");
        }
        Attribute attribute{.keyword = keyword, .place = place};
        if (value.is_array() && isSequence(keyword, value)) {
            attribute.isSequence = true;
            attribute.items = convertItems(value, place, level);
        } else if (value.is_array()) {
            attribute.value = joinedText(keyword, value, place);
        } else {
            attribute.value = textOf(keyword, value, place);
        }
        return attribute;
    }

    /// An empty list may be both.
    bool isSequence(const std::string& keyword, const Json& list) {
        return list.empty() ? mDictionary.vrOf(keyword) == "SQ" : list.front().is_object() && !isBytes(list.front());
    }

    std::vector<Attributes> convertItems(const Json& list, const std::string& place, int level) {
        if (level >= kMostLevels) {
            fail(place, "over 100 sequences stand inside each other.");
        }
        std::vector<Attributes> items;
        for (const Json& item : list) {
            const std::string itemPlace = place + ", item " + std::to_string(items.size() + 1);
            if (!item.is_object()) {
                fail(itemPlace, "the item before is an object, and so have to be all of a sequence.");
            }
            items.push_back(convert(item, itemPlace + ", ", level + 1));
        }
        return items;
    }

    std::string joinedText(const std::string& keyword, const Json& list, const std::string& place) {
        std::string joined;
        std::size_t number = 0;
        for (const Json& value : list) {
            joined += number == 0 ? "" : "\\";
            joined += textOf(keyword, value, place + ", item " + std::to_string(++number));
        }
        return joined;
    }

    std::string textOf(const std::string& keyword, const Json& value, const std::string& place) {
        if (value.is_string() || isBytes(value)) {
            auto text = isBytes(value) ? textOfBytes(value, place) : value.get<std::string>();
            if (text.find('\0') != std::string::npos) {
                fail(place, "a text has no zero character.");
            }
            return text;
        }
        if (value.is_number_float()) {
            return realText(value.get<double>());
        }
        if (value.is_number()) {
            return numberText(keyword, value, place);
        }
        fail(place, value.is_object()
                        ? "an object stands only in a list, as an item of a sequence."
                        : "a text, a number or a list is expected where " + shortened(dumpJson(value)) + " stands.");
    }

    /// DCMTK reads the text of bytes and words as hexadecimal.
    std::string numberText(const std::string& keyword, const Json& value, const std::string& place) {
        const std::string& vr = mDictionary.vrOf(keyword);
        if (vr != "OB" && vr != "OW") {
            return dumpJson(value);
        }
        const std::uint64_t most = vr == "OB" ? 0xFF : 0xFFFF;
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
            fail(place, dumpJson(value) + " is none of the numbers from 0 to " + std::to_string(most) + ".");
        }
        char text[8];
        const auto end = std::to_chars(text, text + sizeof text, value.get<std::uint64_t>(), 16).ptr;
        return {text, end};
    }

    Dictionary& mDictionary;
};

} // namespace

Attributes attributesFromJson(const std::string& name, const std::string& text, Dictionary& dictionary) {
    const Json json = parse(name, text);
    if (!json.is_object()) {
        fail(name, "an object of keywords and values is expected, as 'radvex tags --json' prints it.");
    }
    return Converter(dictionary).convert(json, name + ": at ", 0);
}

} // namespace radvex::formats
