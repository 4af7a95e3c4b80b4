#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "formats/volumes/VolumeGeometry.h"
#include "volume/geometry/GeometryVerdict.h"
#include "volume/geometry/SliceGroups.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// Choices that a user has.
struct PlanOptions {
    enum class Sort {
        automatic, ///< by InstanceNumber if that is an order in space, otherwise by position
        instance,
        position,
    };
    enum class Strangers { refuse, leaveOut, split }; ///< what becomes of slices that do not fit the largest stack

    Sort sort = Sort::automatic;
    Strangers strangers = Strangers::refuse;
    bool isForced = false;    ///< slices that do not fit together become one volume without a position
    bool isResampled = false; ///< uneven stacks are interpolated
    /// Whether two slices have the same samples; without it files of one instance count as copies by their attributes.
    std::function<bool(std::size_t, std::size_t)> hasSameSamples{};
};

/// One volume of a series.
struct PlannedVolume {
    std::string label{}; ///< part of the file name: "-echo2", "-part1-b1000"; empty if the series is one volume
    std::vector<std::pair<std::string, std::string>> traits{}; ///< keyword and value of what tells it apart
    std::optional<double> seconds{};                           ///< its time
    Indices order{};                                           ///< indices of the slices, first slice first
    formats::VolumeGeometry geometry{};
    std::vector<double> heights{}; ///< of the slices along the normal, in their order, if they are to be resampled
    std::optional<double> tiltDegrees{};
    std::vector<Finding> findings{};

    bool hasErrors() const { return volume::hasErrors(findings); }
};

/// What becomes of the slices of a series.
struct VolumePlan {
    std::vector<PlannedVolume> volumes{};
    std::vector<Finding> findings{}; ///< about the series; an error among them concerns all its volumes
    bool isInTime = false;           ///< the volumes are points in time of one stack, and nothing else
    bool isOneStack = true;          ///< the volumes have the same positions, and fit into four dimensions

    bool hasErrors() const { return volume::hasErrors(findings); }
};

/// Plans the volumes of a series. Either every voxel of a volume lies where its slice does, or the geometry has no
/// position; whatever keeps it from having one, although slices have positions, is an error among the findings.
/// @throws VolumeError  the slices are to be sorted by position and have none
VolumePlan planVolumes(const std::vector<SliceRecord>& slices, const PlanOptions& options);

} // namespace radvex::volume
