#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "host/Value.h"

namespace radvex::volume {

// Attributes as ReadMetadata returns them. A file may hold a value in another representation than the dictionary says,
// so numbers are taken from whatever holds them.

/// The store in a node; empty if the node holds something else.
velmora::StoreView innerStore(velmora::NodeView node);
/// The first item of a sequence; empty if there is none.
velmora::StoreView firstItem(velmora::StoreView attributes, std::string_view keyword);

/// The values of a text between backslashes, without the padding around each; one empty value of an empty text.
std::vector<std::string_view> splitValues(std::string_view text);
/// The values of a text, without the padding around each; some may be empty. None if all are.
std::vector<std::string_view> textsOf(velmora::StoreView attributes, std::string_view keyword);
/// The values of an attribute of numbers or decimal strings. None if one of them is not a finite number: the others
/// would change their places.
std::vector<double> realsOf(velmora::StoreView attributes, std::string_view keyword);
/// The value of an attribute that has exactly one.
std::optional<double> realOf(velmora::StoreView attributes, std::string_view keyword);

} // namespace radvex::volume
