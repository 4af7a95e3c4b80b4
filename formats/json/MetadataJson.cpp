// Appends text instead of building a tree of JSON values: a file may hold hundreds of thousands of attributes.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <span>
#include <unordered_map>
#include <vector>

#include "formats/json/Base64.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"

namespace radvex::formats {

using velmora::NodeView;
using velmora::StoreView;

namespace {

void appendInteger(std::string& json, vint number) {
    char text[16];
    const auto end = std::to_chars(text, text + sizeof text, number).ptr;
    json.append(text, end);
}

/// JSON has no numbers for infinity and NaN.
void appendReal(std::string& json, double number) {
    if (!std::isfinite(number)) {
        json += std::isnan(number) ? R"("nan")" : number > 0 ? R"("inf")" : R"("-inf")";
        return;
    }
    const std::string text = shortestText(number);
    json += text;
    if (text.find_first_of(".e") == std::string::npos) {
        json += ".0";
    }
}

template <typename Iterator, typename Append>
void appendList(std::string& json, Iterator first, Iterator last, Append append) {
    json += '[';
    bool isFirst = true;
    for (; !(first == last); ++first) {
        json += isFirst ? "" : ",";
        isFirst = false;
        append(*first);
    }
    json += ']';
}

void appendIntegers(std::string& json, const vint* numbers, vint count) {
    appendList(json, numbers, numbers + count, [&](vint number) { appendInteger(json, number); });
}

void appendArrayShape(std::string& json, const VelmoraNumericArray& array) {
    json += R"({"type":")";
    json += typeName(kArrayTypeNames, array.type);
    json += R"(","dims":)";
    appendIntegers(json, array.dimensions.data(), static_cast<vint>(array.dimensions.size()));
    json += '}';
}

/// Text that cannot be converted to UTF-8, for instance because its character set is unknown, is written as bytes.
void appendTextOrBytes(std::string& json, std::string_view text) {
    if (isValidUtf8(text)) {
        return appendJsonText(json, text);
    }
    json += R"({"bytes":")";
    json += toBase64(std::as_bytes(std::span(text)));
    json += R"("})";
}

void appendValue(std::string& json, NodeView node) {
    const auto& cell = node.cell();
    switch (node.type()) {
    case VType_Integer: return appendInteger(json, cell.integer);
    case VType_Real: return appendReal(json, cell.real);
    case VType_UTF8String: return appendTextOrBytes(json, cell.utf8String);
    case VType_Tensor:
        return appendIntegers(json, static_cast<const vint*>(cell.tensor->data.get()), cell.tensor->length);
    case VType_NumericArray: return appendArrayShape(json, *cell.numericArray);
    default: json += "null";
    }
}

/// A store of unnamed nodes: items of a sequence, several numbers, or frames.
void appendElements(std::string& json, StoreView elements) {
    appendList(json, elements.begin(), elements.end(), [&](NodeView element) {
        if (element.type() == VType_DataStore) {
            appendJson(json, StoreView(element.cell().dataStore));
        } else {
            appendValue(json, element);
        }
    });
}

bool needsEscape(char character, bool isValid) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F || character == '"' || character == '\\' || (byte >= 0x80 && !isValid);
}

void appendEscaped(std::string& json, char character) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x80) {
        json += "\xEF\xBF\xBD";
    } else if (character == '"' || character == '\\') {
        json += '\\';
        json += character;
    } else {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", byte);
        json += escape;
    }
}

} // namespace

void appendJsonText(std::string& json, std::string_view text) {
    const bool isValid = isValidUtf8(text);
    json += '"';
    std::size_t start = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (needsEscape(text[index], isValid)) {
            json.append(text, start, index - start);
            appendEscaped(json, text[index]);
            start = index + 1;
        }
    }
    json.append(text, start, std::string_view::npos);
    json += '"';
}

/// Counts how often a key has occurred.
int JsonKeys::next(std::string_view key) {
    // Most objects are items with a few keys, for which a search is faster than a table.
    constexpr std::size_t kFew = 16;
    if (mFew.size() < kFew) {
        mFew.push_back(key);
        return static_cast<int>(std::count(mFew.begin(), mFew.end(), key));
    }
    if (mMany.empty()) {
        for (const std::string_view seen : mFew) {
            ++mMany[seen];
        }
    }
    return ++mMany[key];
}

void JsonKeys::append(std::string& json, std::string_view key) {
    const int count = next(key);
    if (count == 1) {
        appendJsonText(json, key);
    } else {
        appendJsonText(json, std::string(key) + '#' + std::to_string(count));
    }
}

void appendJsonValue(std::string& json, NodeView node) {
    if (node.type() == VType_DataStore) {
        appendElements(json, StoreView(node.cell().dataStore));
    } else {
        appendValue(json, node);
    }
}

void appendJson(std::string& json, StoreView attributes) {
    JsonKeys keys;
    json += '{';
    bool isFirst = true;
    for (const NodeView node : attributes) {
        json += isFirst ? "" : ",";
        isFirst = false;
        keys.append(json, node.name());
        json += ':';
        appendJsonValue(json, node);
    }
    json += '}';
}

} // namespace radvex::formats
