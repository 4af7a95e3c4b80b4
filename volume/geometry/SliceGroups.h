#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "volume/geometry/SliceComparison.h"

namespace radvex::volume {

/// The slices of one volume of a stack, and what tells it from the others.
struct SliceGroup {
    Indices slices{};
    std::string label{};                                       ///< "-echo2" or "-b1000-dir3"; empty for the only one
    std::vector<std::pair<std::string, std::string>> traits{}; ///< keyword and value of what tells it apart
    std::optional<double> seconds{};                           ///< its time, if there is one
};

/// The volumes of one stack.
struct SliceGroups {
    std::vector<SliceGroup> groups{}; ///< in the order of what tells them apart
    bool isInTime = false;            ///< they differ in time alone
    bool isComplete = true;           ///< all have the same positions
    std::vector<Finding> findings{};
};

/// Whether two numbers of a contrast, such as echo times, are one and the same: within a hundredth.
bool isNearContrast(double lower, double higher);

/// Slices at one position; positions are sorted along the normal.
using Positions = std::vector<Indices>;

/// @param stack  slices with positions, of one orientation
Positions positionsOf(const std::vector<SliceRecord>& slices, const Indices& stack);

/// Tells slices at one position apart: by all contrasts that differ (echo time, b-value and direction, component and
/// the like), and if that does not suffice by the first index or time that does. Times may differ from slice to slice
/// of one volume: if they do, the earliest slices of all positions are one volume, and so on.
///
/// A stack whose positions hold one slice each is one group without a label. If nothing tells the slices apart, or if
/// positions are missing in some volumes, the findings say so.
SliceGroups groupsOf(const std::vector<SliceRecord>& slices, const Indices& stack);

} // namespace radvex::volume
