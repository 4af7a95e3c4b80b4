#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "host/Value.h"

namespace radvex::cli {

/// Returns the value representation of a key; empty when it is not known.
using VrOfKey = std::function<std::string(const std::string& key)>;

/// Where a value in one line is cut.
struct ValueLimits {
    std::size_t text = 72; ///< bytes
    std::size_t numbers = 12;
};

/// The value of an attribute in one line; what is cut ends with its size. Empty for the items of a sequence.
std::string describeValue(velmora::NodeView node, const ValueLimits& limits);

/// Appends one line for each attribute of a metadata result, indented by level: keyword, value representation, value.
/// There is no column of value representations when `vrOfKey` is empty. Long values are cut.
void appendTree(std::string& text, velmora::StoreView attributes, const VrOfKey& vrOfKey, int level = 0);

} // namespace radvex::cli
