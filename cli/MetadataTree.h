#pragma once

#include <functional>
#include <string>

#include "host/Value.h"

namespace radvex::cli {

/// Returns the value representation of a key; empty when it is not known.
using VrOfKey = std::function<std::string(const std::string& key)>;

/// Appends one line for each attribute of a metadata result, indented by level: keyword, value representation, value.
/// There is no column of value representations when `vrOfKey` is empty. Long values are cut.
void appendTree(std::string& text, velmora::StoreView attributes, const VrOfKey& vrOfKey, int level = 0);

} // namespace radvex::cli
