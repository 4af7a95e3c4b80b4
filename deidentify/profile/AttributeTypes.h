#pragma once

#include <cstdint>
#include <string_view>

namespace radvex::deidentify {

/// The type of an attribute in the information object definition of a SOP class (PS3.3): 1 a value is required, 2 it
/// may be empty, 3 it may be absent; 0 where that is not known.
int attributeType(std::uint16_t group, std::uint16_t element, std::string_view sopClass);

} // namespace radvex::deidentify
