#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "volume/geometry/GeometryVerdict.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using Indices = std::vector<std::size_t>;

/// Slices that may lie in one volume: of one size and kind, one orientation, pixel spacing and frame of reference.
///
/// Tolerances. Orientations: 1e-3 in each cosine, the precision of three decimals; pixel spacings: 1e-3 of their value;
/// both less if that would move the far edge of the picture by more than a tenth of a pixel.
/// A slice without a FrameOfReferenceUID fits into every one.
/// @return the stacks, the largest first, of equally large ones the earlier; each in the order of the slices
std::vector<Indices> stacksOf(const std::vector<SliceRecord>& slices, const Indices& among);

/// What the other stacks have that the first has not: findings about the files that differ, all of them errors.
std::vector<Finding> differencesOf(const std::vector<SliceRecord>& slices, const std::vector<Indices>& stacks);

/// Names of the slices at indices.
std::vector<std::string> namesAt(const std::vector<SliceRecord>& slices, const Indices& indices);

/// A finding whose sentence ends with the names of the affected files.
Finding findingAbout(FindingKind kind, bool isError, const std::string& sentence, std::vector<std::string> files);

/// A length or angle for a sentence.
std::string shortNumber(double value);

} // namespace radvex::volume
