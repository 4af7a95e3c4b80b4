#pragma once

#include <string>

#include "formats/json/LosslessJson.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"
#include "volume/VolumeSeries.h"

namespace radvex::volume {

/// What is known about a volume, for programs: patient, study and series, what tells it from the other volumes of the
/// series ("group"), "values", "unit", "type", "shape" (slowest axis first), "geometry", the findings about the series
/// and the volume, and the names of its slices. Stored values have "slope" and "intercept", points in time "seconds".
/// The files of findings about the series are named with the first of its volumes only: there may be hundreds.
formats::Json describeVolume(const SeriesFiles& files, const SeriesSlices& slices, const SeriesVolumes& all,
                             const Volume& volume, SampleKind kind);

/// Refuses several frames of a file of which nothing says where they lie: they may be points in time, as those of
/// ultrasound are.
/// @param subject  begins the sentence: "cine.dcm: "
/// @param advice   ends it, before the full stop
/// @throws VolumeError
void requirePlacedFrames(const SeriesSlices& slices, const std::string& subject, const std::string& advice);

} // namespace radvex::volume
