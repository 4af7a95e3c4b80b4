#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/Host.h"

namespace radvex::volume {

/// The values of a private element in all blocks that its creator has reserved in the group; mostly one. The library
/// gives no value of an element whose representation the file does not say (UN).
/// @param path     for the library
/// @param element  the last two digits of the number
/// @throws LibraryError
std::vector<velmora::Value> privateValues(velmora::Host& host, const std::string& path, unsigned group,
                                          std::string_view creator, unsigned element);

} // namespace radvex::volume
