// Written piece by piece and not through a tree of JSON values: a file may hold hundreds of thousands of attributes.

#include <charconv>
#include <cmath>
#include <unordered_map>

#include "MetadataText.h"
#include "Output.h"

namespace radvex::cli {

using velmora::NodeView;
using velmora::StoreView;

namespace {

void appendInteger(std::string& json, vint number) {
    char text[16];
    const auto end = std::to_chars(text, text + sizeof text, number).ptr;
    json.append(text, end);
}

/// The shortest text that reads back as the same number; JSON has none for what is not finite.
void appendReal(std::string& json, double number) {
    if (!std::isfinite(number)) {
        json += std::isnan(number) ? R"("nan")" : number > 0 ? R"("inf")" : R"("-inf")";
        return;
    }
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, number).ptr;
    json.append(text, end);
    if (std::string_view(text, static_cast<std::size_t>(end - text)).find_first_of(".e") == std::string_view::npos) {
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
    static constexpr const char* names[] = {"?", "s8", "u8", "s16", "u16", "s32", "u32", "s64", "u64", "f32", "f64"};
    json += R"({"type":")";
    json += names[array.type];
    json += R"(","dims":)";
    appendIntegers(json, array.dimensions.data(), static_cast<vint>(array.dimensions.size()));
    json += '}';
}

void appendValue(std::string& json, NodeView node) {
    const auto& cell = node.cell();
    switch (node.type()) {
    case VType_Integer: return appendInteger(json, cell.integer);
    case VType_Real: return appendReal(json, cell.real);
    case VType_UTF8String: return appendJsonText(json, cell.utf8String);
    case VType_Tensor:
        return appendIntegers(json, static_cast<const vint*>(cell.tensor->data.get()), cell.tensor->length);
    case VType_NumericArray: return appendArrayShape(json, *cell.numericArray);
    default: json += "null";
    }
}

/// A store of unnamed nodes: items of a sequence, several numbers, frames.
void appendElements(std::string& json, StoreView elements) {
    appendList(json, elements.begin(), elements.end(), [&](NodeView element) {
        if (element.type() == VType_DataStore) {
            appendJson(json, StoreView(element.cell().dataStore));
        } else {
            appendValue(json, element);
        }
    });
}

} // namespace

void appendJsonText(std::string& json, std::string_view text) {
    json += '"';
    const bool isValid = isValidUtf8(text);
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            json += '\\';
            json += character;
        } else if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            json += escape;
        } else if (byte >= 0x80 && !isValid) {
            json += "\xEF\xBF\xBD";
        } else {
            json += character;
        }
    }
    json += '"';
}

void appendJson(std::string& json, StoreView attributes) {
    std::unordered_map<std::string_view, int> seen;
    json += '{';
    bool isFirst = true;
    for (const NodeView node : attributes) {
        json += isFirst ? "" : ",";
        isFirst = false;
        const int count = ++seen[node.name()];
        appendJsonText(json, count == 1 ? std::string(node.name())
                                        : std::string(node.name()) + '#' + std::to_string(count));
        json += ':';
        if (node.type() == VType_DataStore) {
            appendElements(json, StoreView(node.cell().dataStore));
        } else {
            appendValue(json, node);
        }
    }
    json += '}';
}

} // namespace radvex::cli
