#pragma once

#include <cstddef>
#include <string>

namespace radvex {

/// Groups of an ECMAScript pattern that are open at once, at most.
std::size_t openGroups(const std::string& pattern);

/// States that `std::regex` makes of a pattern, at most: what is repeated a given number of times is made as often.
/// Numbers beyond 100,000, where it gives up itself, are not told apart.
std::size_t statesOf(const std::string& pattern);

} // namespace radvex
