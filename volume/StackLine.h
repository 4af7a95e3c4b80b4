#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "formats/volumes/VolumeGeometry.h"

namespace radvex::volume {

/// Distances between neighbours of a stack that is sorted along its normal, in mm.
struct StackGaps {
    std::vector<double> gaps{}; ///< one less than there are slices
    double usual = 0;           ///< median of those that are no repetition of a place; 0 when there is none
    double tolerance = 0;       ///< by how much a gap may differ from the usual one

    bool isDuplicate(std::size_t index) const { return usual == 0 || gaps[index] <= tolerance; }
    bool isUneven(std::size_t index) const;
    /// Slices that are missing inside a gap, 0 when it is no multiple of the usual one.
    int missingAt(std::size_t index) const;
};

/// @param heights  of the slices along their normal, ascending
StackGaps gapsOf(std::span<const double> heights);

/// The line from the first to the last slice of a stack.
struct StackLine {
    formats::Vector3 perMm{}; ///< shift of a slice for each mm along the normal, which is its part in that direction
    double sidewaysPerMm = 0; ///< length of its part across the normal: tangent of the tilt
    double largestDrift = 0;  ///< by how much a slice lies off the line, across the normal
};

/// @param positions  at least two, sorted along `normal`, the first and the last at different heights
StackLine lineOf(std::span<const formats::Vector3> positions, const formats::Vector3& normal);

} // namespace radvex::volume
