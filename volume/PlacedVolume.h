#pragma once

#include <functional>
#include <optional>

#include "files/OutputFile.h"
#include "volume/SeriesReader.h"
#include "volume/VolumeAssembly.h"

namespace radvex::volume {

/// A volume whose samples are in its file, and were in memory file by file only.
struct PlacedVolume {
    SeriesSlices slices{}; ///< without samples
    SeriesVolumes all{};   ///< the one volume, without bytes
};

/// The file for the volume of a series, whose number is not known before its files are read.
using OutputOfSeries = std::function<files::Output(const std::string& seriesNumber)>;

/// Writes the modality values of a series straight into the file of its volume: the processes that read the files put
/// each slice where it belongs. That needs a series of which the attributes tell that it is one volume, of grey values,
/// without findings; and values that turn out to be of the type in which they are stored.
///
/// What was foretold from attributes is compared with what was read, down to the bytes of the header. When something
/// else came out, nothing is written, and the series has to be read by SeriesReader, which also tells what is wrong.
/// @param options  for the order of the slices
/// @param jobs     processes, no more than files; 0: this one reads the files
/// @param step     called after each file
/// @return nothing when the series is no such series; nothing was written
/// @throws FileError, velmora::HostError  it would be met again
std::optional<PlacedVolume> writePlacedVolume(velmora::Host& host, const SeriesFiles& series,
                                              const PlanOptions& options, std::size_t jobs,
                                              const OutputOfSeries& outputOf, const std::function<void()>& step);

} // namespace radvex::volume
