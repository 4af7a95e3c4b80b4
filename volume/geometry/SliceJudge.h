#pragma once

#include <string_view>
#include <vector>

#include "volume/geometry/GeometryVerdict.h"
#include "volume/geometry/SliceComparison.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// Ends a sentence about uneven slices.
inline constexpr std::string_view kResampleHint = " (--resample interpolates an even volume)";

/// Compares the positions of the slices of one volume: slices that fit together, as stacksOf gives them.
///
/// Tolerances. Distances between slices: 1e-3 of the usual one or 0.01 mm, whichever is larger, since positions are
/// often written with two decimals; but never more than a twentieth of the usual one, because of microscopes. An uneven
/// stack is an error unless each slice lies within a tenth of the spacing of its voxel in an even one. Slices are
/// missing in a gap of over 1.5 times the usual distance. Stacking counts as tilted from 1e-3 (0.06 degrees). A
/// sideways shift off the line is an error from a tenth of a pixel.
/// @param isByPosition  the order of the slices rests on positions, if there are any, and not on InstanceNumber
Verdict judgeSlices(const std::vector<SliceRecord>& slices, const Indices& volume, bool isByPosition);

} // namespace radvex::volume
