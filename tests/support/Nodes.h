#pragma once

#include <string>
#include <vector>

#include "host/Value.h"

namespace radvex::test {

/// Names of the nodes of a store, in order.
inline std::vector<std::string> keysOf(velmora::StoreView store) {
    std::vector<std::string> keys;
    for (const velmora::NodeView node : store) {
        keys.emplace_back(node.name());
    }
    return keys;
}

/// Text of the first node of that name; a text that says so when there is none.
inline std::string textOf(velmora::StoreView store, const std::string& key) {
    for (const velmora::NodeView node : store) {
        if (node.name() == key) {
            return node.cell().utf8String;
        }
    }
    return "(no node " + key + ")";
}

/// The store inside the node at an index (from 0).
inline velmora::StoreView storeAt(velmora::StoreView store, std::size_t index) {
    auto node = store.begin();
    for (; index > 0; --index) {
        ++node;
    }
    return velmora::StoreView((*node).cell().dataStore);
}

} // namespace radvex::test
