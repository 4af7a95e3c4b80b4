#include "cli/tags/AttributeText.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "cli/MetadataTree.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

/// Their JSON is a number, or a list of numbers.
bool isNumeric(const std::string& vr) {
    static constexpr std::array<std::string_view, 11> kNumeric{"US", "UL", "SS", "SL", "FL", "FD",
                                                               "OB", "OD", "OF", "OW", "UN"};
    return std::ranges::find(kNumeric, vr) != kNumeric.end();
}

std::string valueOf(const ShownAttribute& attribute, const TextForm& form, std::size_t used) {
    constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
    if (form.whole) {
        return describeValue(*attribute.node, {.text = kAll, .numbers = kAll});
    }
    if (form.look.width == 0) {
        return describeValue(*attribute.node, {});
    }
    // A character has four bytes at most, a number at least two columns. A line that is as long as the terminal is
    // wide does not wrap.
    constexpr std::size_t kLeast = 8;
    const std::size_t room = form.look.width > used + kLeast ? form.look.width - used : kLeast;
    return cutToColumns(describeValue(*attribute.node, {.text = 4 * room, .numbers = room}), room);
}

void appendLine(std::string& text, const ShownAttribute& attribute, const TextForm& form, int level) {
    constexpr std::size_t kKeyWidth = 36;
    const std::string indent(static_cast<std::size_t>(level) * 2, ' ');
    const std::string label = formats::printable(attribute.label);
    const std::size_t labelEnd = indent.size() + columnsOf(label);
    const std::size_t gap = labelEnd < kKeyWidth ? kKeyWidth - labelEnd : 1;
    const bool isColoured = form.look.isColoured;
    text += indent + toned(label, Tone::Name, isColoured) + std::string(gap, ' ') +
            toned(attribute.vr.empty() ? "--" : attribute.vr, Tone::Quiet, isColoured) + "  ";
    if (attribute.isSequence()) {
        text += toned("(" + formats::counted(attribute.items.size(), "item)", "items)"), Tone::Quiet, isColoured);
    } else if (!attribute.node) {
        text += toned("(empty)", Tone::Quiet, isColoured);
    } else {
        text += valueOf(attribute, form, labelEnd + gap + 4);
    }
    text += '\n';
}

void appendTexts(std::string& json, std::string_view text) {
    json += '[';
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\\', start), text.size());
        json += start == 0 ? "" : ",";
        formats::appendJsonText(json, text.substr(start, end - start));
        start = end + 1;
    }
    json += ']';
}

void appendItems(std::string& json, const ShownAttribute& attribute, bool lists) {
    json += '[';
    for (std::size_t index = 0; index < attribute.items.size(); ++index) {
        json += index == 0 ? "" : ",";
        appendJson(json, attribute.items[index], lists);
    }
    json += ']';
}

void appendValue(std::string& json, const ShownAttribute& attribute, bool lists) {
    if (attribute.isSequence()) {
        return appendItems(json, attribute, lists);
    }
    if (!attribute.node) {
        json += isNumeric(attribute.vr) ? "[]" : "\"\"";
        return;
    }
    if (lists && attribute.node->isText() && !attribute.vr.empty() && !media::isOneText(attribute.vr)) {
        const std::string_view text = attribute.node->text();
        if (text.find('\\') != std::string_view::npos && formats::isValidUtf8(text)) {
            return appendTexts(json, text);
        }
    }
    formats::appendJsonValue(json, *attribute.node);
}

} // namespace

void appendText(std::string& text, const std::vector<ShownAttribute>& attributes, const TextForm& form, int level) {
    for (const ShownAttribute& attribute : attributes) {
        appendLine(text, attribute, form, level);
        std::size_t number = 0;
        for (const auto& item : attribute.items) {
            text.append((static_cast<std::size_t>(level) + 1) * 2, ' ');
            text += toned("item " + std::to_string(++number), Tone::Quiet, form.look.isColoured) + '\n';
            appendText(text, item, form, level + 2);
        }
    }
}

void appendJson(std::string& json, const std::vector<ShownAttribute>& attributes, bool lists) {
    formats::JsonKeys keys;
    json += '{';
    for (std::size_t index = 0; index < attributes.size(); ++index) {
        json += index == 0 ? "" : ",";
        keys.append(json, attributes[index].key);
        json += ':';
        appendValue(json, attributes[index], lists);
    }
    json += '}';
}

} // namespace radvex::cli
