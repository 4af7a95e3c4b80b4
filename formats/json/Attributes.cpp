#include "formats/json/Attributes.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <unordered_set>

#include "files/Errors.h"
#include "formats/json/Base64.h"
#include "formats/json/DicomJsonInput.h"
#include "formats/json/LeftOut.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "host/Host.h"

namespace radvex::formats {

using velmora::Store;

namespace {

/// The first attribute for which `isFound` is true, in the order of the library: the last of each list comes first.
template <typename Predicate>
const Attribute* findIf(const Attributes& attributes, Predicate isFound) {
    std::vector<const Attribute*> pending;
    const auto add = [&](const Attributes& list) {
        for (const Attribute& attribute : list) {
            pending.push_back(&attribute);
        }
    };
    add(attributes);
    while (!pending.empty()) {
        const Attribute& attribute = *pending.back();
        pending.pop_back();
        if (isFound(attribute)) {
            return &attribute;
        }
        for (const Attributes& item : attribute.items) {
            add(item);
        }
    }
    return nullptr;
}

/// The template of a registered message; empty if no error has that name.
std::string messageTemplate(const velmora::Host& host, const std::string& name) {
    const auto& errors = host.errors();
    const auto found = std::ranges::find_if(errors, [&](const auto& error) { return error.name == name; });
    return found == errors.end() ? "" : found->message;
}

/// The library refuses deeper nesting as well.
constexpr int kMostLevels = 100;

[[noreturn]] void fail(const std::string& source, const std::string& sentence) {
    throw FileError(source + ": " + sentence);
}

/// Line and column, both from 1, of the byte at which the parser stopped.
std::string lineAndColumn(const std::string& text, std::size_t byte) {
    const std::size_t end = std::min(byte == 0 ? 0 : byte - 1, text.size());
    const auto lines = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    const std::size_t newline = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
    const std::size_t column = newline == std::string::npos ? end + 1 : end - newline;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column);
}

Json parse(const std::string& name, const std::string& text) {
    std::vector<std::unordered_set<std::string>> keys; // of the objects around the current event
    // Of two equal keys in an object, the JSON library silently keeps one.
    const auto refuseRepeatedKeys = [&](int /*depth*/, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second) {
            fail(name, printable(parsed.get<std::string>()) + " occurs twice in one object.");
        }
        return true;
    };
    try {
        return Json::parse(text, refuseRepeatedKeys);
    } catch (const Json::parse_error& error) {
        throw FileError(name + " is not valid JSON: the error is at " + lineAndColumn(text, error.byte) + ".");
    }
}

/// A text that is not UTF-8. No keyword is called "bytes", so this cannot be an item of a sequence.
bool isBytes(const Json& value) {
    return value.is_object() && value.size() == 1 && value.contains("bytes") && value["bytes"].is_string();
}

std::string textOfBytes(const Json& value, const std::string& source) {
    try {
        const auto bytes = fromBase64(value["bytes"].get<std::string>());
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    } catch (const std::invalid_argument& error) {
        fail(source, error.what());
    }
}

/// Turns the members of objects into attributes.
class Converter {
  public:
    Converter(Dictionary& dictionary, LeftOut& leftOut) : mDictionary(dictionary), mLeftOut(leftOut) {}

    /// @param source  of the object, up to the keyword: "meta.json: at "
    Attributes convert(const Json& object, const std::string& source, int level) {
        Attributes attributes;
        for (const auto& member : object.items()) {
            const std::string& key = member.key();
            const std::string memberSource = source + printable(key);
            if (key.find('\0') != std::string::npos) {
                fail(memberSource, "a keyword cannot contain a zero character.");
            }
            if (!mLeftOut.holds(isKeyword(key) ? key : "", printable(key), level)) {
                attributes.push_back(convertMember(key, member.value(), memberSource, level));
            }
        }
        return attributes;
    }

  private:
    /// Attributes without one appear as numbers, gggg_eeee, and those whose name occurred before as Name#2.
    static bool isKeyword(const std::string& key) {
        const bool isNumber = key.size() == 9 && key[4] == '_';
        return !isNumber && key.find('#') == std::string::npos;
    }

    Attribute convertMember(const std::string& keyword, const Json& value, const std::string& source, int level) {
        Attribute attribute{.keyword = keyword, .source = source};
        attribute.isBytes = isBytes(value) || (value.is_array() && std::ranges::any_of(value, isBytes));
        if (value.is_array() && isSequence(keyword, value)) {
            attribute.isSequence = true;
            attribute.items = convertItems(value, source, level);
        } else if (value.is_array()) {
            attribute.value = joinedText(keyword, value, source);
        } else {
            attribute.value = textOf(keyword, value, source);
        }
        return attribute;
    }

    /// An empty list may be a sequence or have no values.
    bool isSequence(const std::string& keyword, const Json& list) {
        return list.empty() ? mDictionary.vrOf(keyword) == "SQ" : list.front().is_object() && !isBytes(list.front());
    }

    std::vector<Attributes> convertItems(const Json& list, const std::string& source, int level) {
        if (level >= kMostLevels) {
            fail(source, "sequences are nested more than 100 deep.");
        }
        std::vector<Attributes> items;
        for (const Json& item : list) {
            const std::string itemSource = source + ", item " + std::to_string(items.size() + 1);
            if (!item.is_object()) {
                fail(itemSource, "the items of a sequence have to be objects, as the item before is.");
            }
            items.push_back(convert(item, itemSource + ", ", level + 1));
        }
        return items;
    }

    std::string joinedText(const std::string& keyword, const Json& list, const std::string& source) {
        std::string joined;
        std::size_t number = 0;
        for (const Json& value : list) {
            joined += number == 0 ? "" : "\\";
            joined += textOf(keyword, value, source + ", item " + std::to_string(++number));
        }
        return joined;
    }

    std::string textOf(const std::string& keyword, const Json& value, const std::string& source) {
        if (value.is_string() || isBytes(value)) {
            auto text = isBytes(value) ? textOfBytes(value, source) : value.get<std::string>();
            if (text.find('\0') != std::string::npos) {
                fail(source, "a text cannot contain a zero character.");
            }
            return text;
        }
        if (value.is_number_float()) {
            return shortestText(value.get<double>());
        }
        if (value.is_number()) {
            return numberText(keyword, value, source);
        }
        fail(source, value.is_object()
                         ? "an object is only allowed in a list, as an item of a sequence."
                         : "a text, a number or a list is expected, but " + shortened(dumpJson(value)) + " is given.");
    }

    /// DCMTK reads the text of bytes and words as hexadecimal.
    std::string numberText(const std::string& keyword, const Json& value, const std::string& source) {
        const std::string& vr = mDictionary.vrOf(keyword);
        if (vr != "OB" && vr != "OW") {
            return dumpJson(value);
        }
        const std::uint64_t most = vr == "OB" ? 0xFF : 0xFFFF;
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
            fail(source, dumpJson(value) + " is not a number from 0 to " + std::to_string(most) + ".");
        }
        char text[8];
        const auto end = std::to_chars(text, text + sizeof text, value.get<std::uint64_t>(), 16).ptr;
        return {text, end};
    }

    Dictionary& mDictionary;
    LeftOut& mLeftOut;
};

} // namespace

Store toStore(const Attributes& attributes) {
    Store store = Store::empty();
    for (const Attribute& attribute : attributes) {
        if (!attribute.isSequence) {
            store.add(attribute.keyword, attribute.value);
            continue;
        }
        Store items = Store::empty();
        for (const Attributes& item : attribute.items) {
            items.add("", toStore(item));
        }
        store.add(attribute.keyword, std::move(items));
    }
    return store;
}

const Attribute* findRefused(const Attributes& attributes, const velmora::LibraryError& error, velmora::Host& host,
                             Dictionary& dictionary) {
    if (error.name() == "SequenceTagVRError") { // its message names no keyword
        return findIf(attributes, [&](const Attribute& attribute) {
            return attribute.isSequence && dictionary.vrOf(attribute.keyword) != "SQ";
        });
    }
    if (error.name() != "ReservedTagError" && error.name() != "InvalidTagName" && error.name() != "InvalidTagValue") {
        return nullptr;
    }
    const std::string wanted = messageTemplate(host, error.name());
    return findIf(attributes, [&](const Attribute& attribute) {
        return velmora::fillMessage(wanted, {attribute.keyword, attribute.value}) == error.what();
    });
}

bool hasWideText(const Attributes& attributes) {
    const auto isWide = [](const Attribute& each) { return !isAscii(each.value) && isValidUtf8(each.value); };
    return findIf(attributes, isWide) != nullptr;
}

AttributesInput attributesFromJson(const std::string& name, const std::string& text, Dictionary& dictionary) {
    const Json json = parse(name, text);
    LeftOut leftOut(dictionary);
    AttributesInput input;
    if (isDicomJson(json)) {
        input.attributes = attributesFromDicomJson(name, json, dictionary, leftOut);
    } else if (json.is_object()) {
        input.attributes = Converter(dictionary, leftOut).convert(json, name + ": at ", 0);
    } else {
        fail(name, "an object of keywords and values is expected, as 'radvex tags --json' or 'radvex tags "
                   "--dicom-json' prints it.");
    }
    input.remarks = leftOut.remarks(name);
    if (json.is_object() && json.contains("PrivateCreator")) {
        input.remarks.push_back(name + ": a private attribute may be called as a standard one is, and would be written "
                                       "as that; 'radvex tags --dicom-json' tells them apart.");
    }
    return input;
}

} // namespace radvex::formats
