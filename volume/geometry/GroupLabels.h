#pragma once

#include <map>
#include <string>
#include <vector>

#include "volume/geometry/SliceGroups.h"
#include "volume/slices/SliceTraits.h"

namespace radvex::volume {

/// The values of a trait with their numbers in order.
using ValueRanks = std::map<std::string, std::size_t>;

/// Names what tells each group of slices apart, as part of a file name: "-echo2", "-b1000-dir3", "-phase". Traits that
/// tell no more than those before them are left out; no two groups get the same name, whatever the case of letters.
/// @param traits  in use, in the order of the traits of each group
/// @param ranks   of their values, in the same order
void labelGroups(std::vector<SliceGroup>& groups, const std::vector<Trait>& traits,
                 const std::vector<ValueRanks>& ranks);

} // namespace radvex::volume
