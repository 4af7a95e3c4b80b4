#include "volume/slices/PrivateElement.h"

#include <cstdio>
#include <utility>

#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using velmora::Store;
using velmora::Value;

namespace {

constexpr unsigned kFirstBlock = 0x10;
constexpr unsigned kLastBlock = 0xFF;

std::string hexadecimal(unsigned number) {
    char text[8];
    std::snprintf(text, sizeof text, "%04x", number & 0xFFFF);
    return text;
}

/// Elements first to last, as far as the file has them.
Store readElements(velmora::Host& host, const std::string& path, unsigned group, unsigned first, unsigned last) {
    std::vector<Value> numbers;
    for (unsigned element = first; element <= last; ++element) {
        numbers.emplace_back(Store::ofTexts({hexadecimal(group), hexadecimal(element)}));
    }
    return host.call("ReadMetadataIntTags", {path, Store::of(std::move(numbers))}).get<Store>();
}

std::size_t countOf(const Store& creators, std::string_view creator) {
    std::size_t count = 0;
    for (const velmora::NodeView node : creators) {
        if (node.isText() && trimmed(node.text()) == creator) {
            ++count;
        }
    }
    return count;
}

} // namespace

std::vector<Value> privateValues(velmora::Host& host, const std::string& path, unsigned group, std::string_view creator,
                                 unsigned element) {
    std::vector<Value> values;
    // Results do not tell which numbers are missing, so that the blocks are only counted at first.
    std::size_t missing = countOf(readElements(host, path, group, kFirstBlock, kLastBlock), creator);
    for (unsigned block = kFirstBlock; block <= kLastBlock && missing > 0; ++block) {
        if (countOf(readElements(host, path, group, block, block), creator) == 0) {
            continue;
        }
        --missing;
        const unsigned number = block * 0x100 + element;
        const Store found = readElements(host, path, group, number, number);
        if (found.size() > 0) {
            values.push_back(found.view().at(0).value());
        }
    }
    return values;
}

} // namespace radvex::volume
