#pragma once

// What tests ask of the values that a function gave.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "host/Value.h"

namespace radvex::test {

/// Names of the nodes of a store, in order.
std::vector<std::string> keysOf(velmora::StoreView store);

/// Text of the first node of that name; a text that says so when there is none.
std::string textOf(velmora::StoreView store, const std::string& key);

/// The store inside the node at an index (from 0), or at the end of several indices, one for each level.
velmora::StoreView storeAt(velmora::StoreView store, std::size_t index);
velmora::StoreView storeAt(velmora::StoreView store, std::initializer_list<std::size_t> path);

/// The image at the end of several indices (from 0), one for each level.
const VelmoraImage& imageAt(velmora::StoreView store, const std::vector<std::size_t>& path);

/// A store as one line: names, "{...}" for a store, "=..." behind the name of a text or a number, ":image" and ":array"
/// for an image and an array. A node without a name begins with what it holds.
///
///     P1{1.2{1.2.3{IM1,IM2}}}
std::string outline(velmora::StoreView store);

/// Elements of an image, an array or a tensor, be it a value or what the host holds.
template <typename T, typename Container>
std::vector<T> elementsOf(const Container& container) {
    if constexpr (requires { container.template data<T>(); }) {
        const auto data = container.template data<T>();
        return {data.begin(), data.end()};
    } else {
        const auto* data = static_cast<const T*>(container.data.get());
        return {data, data + container.length};
    }
}

/// FNV-1a over kind, sizes, names and contents of a value: the same for the same value.
std::uint64_t digestOf(const velmora::Value& value);

/// Bytes of the pixels, elements and texts in a value.
std::uint64_t sizeOf(const velmora::Value& value);

} // namespace radvex::test
