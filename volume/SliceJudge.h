#pragma once

#include <vector>

#include "volume/GeometryVerdict.h"
#include "volume/SliceRecord.h"

namespace radvex::volume {

/// Compares the positions of the slices of one volume.
///
/// Tolerances. Orientations: 1e-3 in each cosine, the precision of three decimals. Pixel spacings: 1e-3 of their value.
/// Distances between slices: 1e-3 of the usual one or 0.01 mm, whichever is larger, since positions are often written
/// with two decimals; but never more than a twentieth of the usual one, because of microscopes. Slices are missing in a
/// gap of at least 1.9 times the usual distance that is within 0.1 of a multiple. Stacking counts as tilted from 1e-3
/// (0.06 degrees). A sideways shift counts as drift from a tenth of a pixel.
Verdict judgeSlices(const std::vector<SliceRecord>& slices);

} // namespace radvex::volume
