#include "cli/MetadataTree.h"
#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"

namespace radvex::cli {

using velmora::NodeView;
using velmora::StoreView;

namespace {

std::string shortReal(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", number);
    return text;
}

std::string describeArray(const VelmoraNumericArray& array) {
    std::string text = formats::typeName(formats::kArrayTypeNames, array.type);
    for (std::size_t index = 0; index < array.dimensions.size(); ++index) {
        text += (index == 0 ? " " : " x ") + std::to_string(array.dimensions[index]);
    }
    return text;
}

std::string describeTensor(const VelmoraTensor& tensor, std::size_t most) {
    const auto* numbers = static_cast<const vint*>(tensor.data.get());
    std::string text;
    for (vint index = 0; index < tensor.length && static_cast<std::size_t>(index) < most; ++index) {
        text += (index == 0 ? "" : " ") + std::to_string(numbers[index]);
    }
    if (static_cast<std::size_t>(tensor.length) > most) {
        text += " ... (" + std::to_string(tensor.length) + " numbers)";
    }
    return text;
}

/// The value in one line; empty for a list.
std::string describe(NodeView node, const ValueLimits& limits) {
    const auto& cell = node.cell();
    switch (node.type()) {
    case VType_Integer: return std::to_string(cell.integer);
    case VType_Real: return shortReal(cell.real);
    case VType_UTF8String: return formats::shortened(cell.utf8String, limits.text);
    case VType_Tensor: return describeTensor(*cell.tensor, limits.numbers);
    case VType_NumericArray: return describeArray(*cell.numericArray);
    default: return "";
    }
}

std::string describeList(StoreView list, const ValueLimits& limits) {
    std::string text;
    std::size_t count = 0;
    for (const NodeView node : list) {
        if (count++ == limits.numbers) {
            return text + " ... (" + std::to_string(list.size()) + " values)";
        }
        text += (text.empty() ? "" : " ") + describe(node, limits);
    }
    return text;
}

bool isSequence(StoreView store) { return store.size() == 0 || (*store.begin()).type() == VType_DataStore; }

void appendItems(std::string& text, StoreView items, const VrOfKey& vrOfKey, int level) {
    int number = 0;
    for (const NodeView item : items) {
        text.append(static_cast<std::size_t>(level) * 2, ' ');
        text += "item " + std::to_string(++number) + '\n';
        appendTree(text, StoreView(item.cell().dataStore), vrOfKey, level + 1);
    }
}

} // namespace

std::string describeValue(NodeView node, const ValueLimits& limits) {
    if (node.type() != VType_DataStore) {
        return describe(node, limits);
    }
    const StoreView inner(node.cell().dataStore);
    return isSequence(inner) ? "" : describeList(inner, limits);
}

void appendTree(std::string& text, StoreView attributes, const VrOfKey& vrOfKey, int level) {
    for (const NodeView node : attributes) {
        const std::string key(node.name());
        const std::size_t start = text.size();
        text.append(static_cast<std::size_t>(level) * 2, ' ');
        text += formats::printable(key);
        constexpr std::size_t kKeyWidth = 36;
        const std::size_t used = text.size() - start;
        text.append(used < kKeyWidth ? kKeyWidth - used : 1, ' ');
        if (vrOfKey) {
            const std::string vr = vrOfKey(key);
            text += (vr.empty() ? "--" : vr) + "  ";
        }
        if (node.type() != VType_DataStore) {
            text += describeValue(node, {}) + '\n';
            continue;
        }
        const StoreView inner(node.cell().dataStore);
        if (isSequence(inner)) {
            text += "(" + std::to_string(inner.size()) + (inner.size() == 1 ? " item)\n" : " items)\n");
            appendItems(text, inner, vrOfKey, level + 1);
        } else {
            text += describeValue(node, {}) + '\n';
        }
    }
}

} // namespace radvex::cli
