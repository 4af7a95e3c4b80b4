#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "volume/SeriesReader.h"
#include "volume/geometry/VolumePlan.h"

namespace radvex::volume {

/// A volume in memory, ready to be written.
struct Volume {
    std::string label{}; ///< part of the file name: "-echo2"; empty if the series is one volume
    std::vector<std::pair<std::string, std::string>> traits{}; ///< keyword and value of what tells it from the others
    formats::VolumeHeader header{};
    std::vector<formats::SliceBytes> bytes{}; ///< of each slice, volume after volume if there are four dimensions
    std::vector<std::size_t> slices{};        ///< indices of the slices of the series, in the same order
    std::vector<double> seconds{};            ///< the time of each volume, where they differ in time
    std::optional<double> tiltDegrees{};
    bool isPicture = false; ///< the samples are grey levels or colour, not values
    std::vector<Finding> findings{};
    std::shared_ptr<const void> owner{}; ///< keeps interpolated samples alive

    bool hasErrors() const { return volume::hasErrors(findings); }
};

/// The volumes of a series, and what is to be said about it. An error among the findings of the series concerns all its
/// volumes.
struct SeriesVolumes {
    std::vector<Volume> volumes{};
    std::vector<Finding> findings{};

    bool hasErrors() const { return volume::hasErrors(findings); }
};

/// Makes volumes of the slices of a series. The samples stay where they are, so the series has to outlive the volumes.
/// @param isFourD  join the volumes of the series to one with four dimensions
/// @throws VolumeError  the volumes do not fit together, stored values have several slopes, or there is no memory
SeriesVolumes assembleVolumes(SeriesSlices& series, PlanOptions options, bool isFourD);

/// The diffusion weighting of each volume of a 3-D or 4-D volume; none unless all have a b-value.
std::vector<DiffusionWeighting> weightingsOf(const SeriesSlices& series, const Volume& volume);

} // namespace radvex::volume
