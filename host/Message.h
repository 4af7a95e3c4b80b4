#pragma once

#include <string>
#include <vector>

namespace velmora {

/// Fills the slots of a message template. A slot is a name in backticks; the values replace slots and backticks in
/// order. A slot without a value stays as it stands, a value without a slot is ignored.
std::string fillMessage(const std::string& messageTemplate, const std::vector<std::string>& values);

} // namespace velmora
