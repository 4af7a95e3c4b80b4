#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/Host.h"
#include "view/Wire.h"

namespace radvex::view {

// What is to be said about the files of one series, in their order. @param jobs  processes that read the files

/// Slices and volumes, with the findings about them, from attributes alone. Volumes that differ in time, and lie in the
/// same places otherwise, are one of four dimensions. A file without slices is told as one of no size. A series that
/// cannot be volumes has slices all the same, and a finding that says why.
Message describeSeries(velmora::Host& host, const std::vector<std::string>& files, std::size_t jobs);

/// One of these volumes as a NIfTI file: "unit", "shape", and "seconds" of the points in time where they are known.
/// @param most  bytes of samples; a larger volume is refused
/// @throws Error  a sentence: the series cannot be volumes, there is no such one, or no memory
Message makeVolume(velmora::Host& host, const std::vector<std::string>& files, std::size_t volume, std::size_t most,
                   std::size_t jobs);

} // namespace radvex::view
