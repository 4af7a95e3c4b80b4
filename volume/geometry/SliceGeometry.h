#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "formats/volumes/VolumeGeometry.h"
#include "volume/geometry/GeometryVerdict.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// Geometry of a volume with the slices in `order`, one of the verdict's two. It has a position if one matrix tells
/// where every slice lies, within the tolerances of judgeSlices; otherwise only spacings: the usual distance, else
/// SpacingBetweenSlices, SliceThickness or 1.
formats::VolumeGeometry geometryOf(const std::vector<SliceRecord>& slices, const Verdict& verdict,
                                   const std::vector<std::size_t>& order);

/// Whether each height lies within a tenth of the mean distance of its place in an even stack.
/// @param heights  ascending
bool isNearlyEven(std::span<const double> heights);

/// Distances between neighbours of a stack that is sorted along its normal, in mm.
struct StackGaps {
    std::vector<double> gaps{}; ///< one less than there are slices
    double usual = 0;           ///< median of the gaps between different positions; 0 if there are none
    double tolerance = 0;       ///< by how much a gap may differ from the usual one

    bool isDuplicate(std::size_t index) const { return usual == 0 || gaps[index] <= tolerance; }
    bool isUneven(std::size_t index) const;
    /// Number of slices that are missing in a gap: 0 up to 1.5 times the usual one.
    int missingAt(std::size_t index) const;
};

/// @param heights  of the slices along their normal, ascending
StackGaps gapsOf(std::span<const double> heights);

/// The line from the first to the last slice of a stack.
struct StackLine {
    formats::Vector3 perMm{}; ///< shift of a slice per mm along the normal; its component along the normal is 1
    double sidewaysPerMm = 0; ///< length of its component across the normal: tangent of the tilt
    double largestDrift = 0;  ///< largest distance of a slice from the line, across the normal
};

/// @param positions  at least two, sorted along `normal`, the first and the last at different heights
StackLine lineOf(std::span<const formats::Vector3> positions, const formats::Vector3& normal);

} // namespace radvex::volume
