#include "volume/slices/AttributeValues.h"

#include <algorithm>
#include <cmath>

#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using velmora::NodeView;
using velmora::StoreView;

namespace {

std::optional<double> realIn(NodeView node) {
    switch (node.type()) {
    case VType_Integer: return node.cell().integer;
    case VType_Real: return std::isfinite(node.cell().real) ? std::optional(node.cell().real) : std::nullopt;
    default: return std::nullopt;
    }
}

/// All numbers that `read` finds in the parts, or none.
template <typename Parts, typename Read>
std::vector<double> allOrNone(const Parts& parts, Read read) {
    std::vector<double> numbers;
    for (const auto part : parts) {
        const std::optional<double> number = read(part);
        if (!number) {
            return {};
        }
        numbers.push_back(*number);
    }
    return numbers;
}

std::vector<double> realsIn(NodeView node) {
    if (node.isText()) {
        return allOrNone(splitValues(node.text()), decimalOf);
    }
    if (node.isStore()) {
        return allOrNone(node.store(), realIn);
    }
    const auto number = realIn(node);
    return number ? std::vector<double>{*number} : std::vector<double>{};
}

} // namespace

std::vector<std::string_view> splitValues(std::string_view text) {
    std::vector<std::string_view> values;
    for (std::size_t end = text.find('\\'); end != std::string_view::npos; end = text.find('\\')) {
        values.push_back(trimmed(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
    values.push_back(trimmed(text));
    return values;
}

StoreView innerStore(NodeView node) { return node.isStore() ? node.store() : StoreView(nullptr); }

StoreView firstItem(StoreView attributes, std::string_view keyword) {
    const StoreView items = attributes.store(keyword);
    return items.size() == 0 ? items : innerStore(items.at(0));
}

std::vector<std::string_view> textsOf(StoreView attributes, std::string_view keyword) {
    auto values = splitValues(attributes.text(keyword));
    const bool isEmpty = std::ranges::all_of(values, [](std::string_view value) { return value.empty(); });
    return isEmpty ? std::vector<std::string_view>{} : values;
}

std::vector<double> realsOf(StoreView attributes, std::string_view keyword) {
    for (const NodeView node : attributes) {
        if (node.name() == keyword) {
            return realsIn(node);
        }
    }
    return {};
}

std::optional<double> realOf(StoreView attributes, std::string_view keyword) {
    const auto values = realsOf(attributes, keyword);
    return values.size() == 1 ? std::optional(values.front()) : std::nullopt;
}

} // namespace radvex::volume
