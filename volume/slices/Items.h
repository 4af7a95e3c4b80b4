#pragma once

#include <string_view>

#include "host/Value.h"

namespace radvex::volume {

/// The attributes of an item; none if the node is no item.
inline velmora::StoreView innerStore(velmora::NodeView node) {
    return node.isStore() ? node.store() : velmora::StoreView(nullptr);
}

/// The first item of a sequence; empty if there is none.
inline velmora::StoreView firstItem(velmora::StoreView attributes, std::string_view keyword) {
    const velmora::StoreView items = attributes.store(keyword);
    return items.size() == 0 ? items : innerStore(items.at(0));
}

} // namespace radvex::volume
