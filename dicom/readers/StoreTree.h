#pragma once

#include <string>

#include "bridge/containers/DataList.h"

namespace radvex {

/// A result of stores inside stores while it is built: a read that ends early leaves nothing of it behind.
using StoreTree = GTU::DataList<GTU::VArgumentType::VArgument, GTU::Passing::Manual>;

/// Puts a finished store under a key; it is the parent's from here on.
template <GTU::VArgumentType T>
void addStore(StoreTree& parent, const std::string& key, GTU::DataList<T, GTU::Passing::Manual>&& child) {
    GTU::Argument<GTU::VArgumentType::DataStore>::addDataStoreNode(parent.getInternal(), key, child.getInternal());
    child.setOwnedByLibrary(false);
}

} // namespace radvex
