#include "volume/VolumeAssembly.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "volume/samples/Resampling.h"

namespace radvex::volume {

namespace {

class Assembly {
  public:
    Assembly(SeriesSlices& series, VolumePlan plan) : mSeries(series), mPlan(std::move(plan)) {}

    SeriesVolumes assemble(bool isFourD) {
        SeriesVolumes all;
        all.findings = mSeries.findings;
        std::ranges::copy(mPlan.findings, std::back_inserter(all.findings));
        if (isFourD && mPlan.volumes.size() > 1) {
            all.volumes.push_back(joined());
            return all;
        }
        for (const PlannedVolume& planned : mPlan.volumes) {
            all.volumes.push_back(single(planned, mSeries.samples->typeOf(planned.order).type()));
        }
        return all;
    }

  private:
    Volume single(const PlannedVolume& planned, vint type) {
        Volume volume{.label = planned.label,
                      .traits = planned.traits,
                      .header = headerOf(planned, type),
                      .bytes = mSeries.samples->bytesOf(planned.order, type),
                      .slices = planned.order,
                      .tiltDegrees = planned.tiltDegrees,
                      .findings = planned.findings};
        setUnit(volume);
        setRescale(volume);
        if (!planned.heights.empty()) {
            resample(volume, planned.heights);
        }
        return volume;
    }

    formats::VolumeHeader headerOf(const PlannedVolume& planned, vint type) const {
        const SliceRecord& first = mSeries.slices[planned.order.front()];
        formats::VolumeHeader header;
        header.type = type;
        header.channels = first.isColour ? 3 : 1;
        header.columns = first.columns;
        header.rows = first.rows;
        header.slices = static_cast<vint>(planned.order.size());
        header.geometry = planned.geometry;
        return header;
    }

    void setUnit(Volume& volume) const {
        volume.isPicture = mSeries.samples->isPicture(volume.slices.front());
        if (volume.isPicture) {
            return;
        }
        const SliceRecord& first = mSeries.slices[volume.slices.front()];
        Indices others;
        std::ranges::copy_if(volume.slices, std::back_inserter(others), [&](std::size_t index) {
            const SliceRecord& slice = mSeries.slices[index];
            return slice.unit != first.unit || slice.isRescaled != first.isRescaled;
        });
        if (others.empty()) {
            volume.header.unit = first.unit;
        } else {
            volume.findings.push_back(
                findingAbout(FindingKind::differentUnits, true,
                             "The slices differ in the unit of their values, or in having a rescale",
                             namesAt(mSeries.slices, others)));
        }
    }

    /// Takes over what is said of another of the joined volumes. Magnitude and phase may have a unit each.
    static void join(Volume& volume, const Volume& other) {
        std::ranges::copy(other.findings, std::back_inserter(volume.findings));
        if (other.header.unit != volume.header.unit && !volume.header.unit.empty()) {
            volume.header.unit.clear();
            volume.findings.push_back({FindingKind::differentUnits,
                                       false,
                                       "The volumes differ in the unit of their values; the file names none.",
                                       {}});
        }
    }

    void setRescale(Volume& volume) const {
        const ModalityRule& first = mSeries.rules[volume.slices.front()];
        for (const std::size_t slice : volume.slices) {
            if (!mSeries.rules[slice].hasSameRescale(first)) {
                throw formats::VolumeError(mSeries.slices[slice].name() +
                                           " has another slope or intercept than other slices, so that stored values "
                                           "cannot keep one for all; without --stored they are applied.");
            }
        }
        volume.header.slope = first.slope;
        volume.header.intercept = first.intercept;
    }

    static void resample(Volume& volume, const std::vector<double>& heights) {
        const formats::VolumeGeometry& geometry = volume.header.geometry;
        const formats::Vector3 normal = cross(geometry.columnStep, geometry.rowStep);
        const double step = std::abs(dot(geometry.sliceStep, normal)) / length(normal); // shorter than a tilted one
        const double steps = std::round((heights.back() - heights.front()) / step);
        if (!(steps < 1e6)) {
            throw formats::VolumeError("The volume would have more than a million slices.");
        }
        ResampledVolume resampled = resampleVolume(volume.header, volume.bytes, heights, static_cast<vint>(steps) + 1);
        volume.header = resampled.header;
        volume.bytes = std::move(resampled.slices);
        volume.owner = std::move(resampled.owner);
    }

    Volume joined() {
        requireOneStack();
        Indices all;
        for (const PlannedVolume& planned : mPlan.volumes) {
            std::ranges::copy(planned.order, std::back_inserter(all));
        }
        const vint type = mSeries.samples->typeOf(all).type();
        Volume volume = single(mPlan.volumes.front(), type);
        volume.label.clear();
        volume.traits.clear();
        for (const PlannedVolume& planned : mPlan.volumes) {
            if (&planned != &mPlan.volumes.front()) {
                join(volume, single(planned, type));
            }
            if (planned.seconds) {
                volume.seconds.push_back(*planned.seconds);
            }
        }
        volume.slices = all;
        volume.bytes = mSeries.samples->bytesOf(all, type);
        setRescale(volume);
        volume.header.volumes = static_cast<vint>(mPlan.volumes.size());
        setTimeStep(volume);
        return volume;
    }

    /// Within a tenth of a voxel.
    static bool isSameGeometry(const formats::VolumeGeometry& a, const formats::VolumeGeometry& b) {
        const double tolerance = 0.1 * std::min({length(a.columnStep), length(a.rowStep), length(a.sliceStep)});
        return a.hasPosition == b.hasPosition && (!a.hasPosition || (length(a.origin - b.origin) <= tolerance &&
                                                                     length(a.sliceStep - b.sliceStep) <= tolerance));
    }

    void requireOneStack() const {
        const PlannedVolume& first = mPlan.volumes.front();
        for (const PlannedVolume& planned : mPlan.volumes) {
            const bool fits = planned.order.size() == first.order.size() && planned.heights.empty() &&
                              std::ranges::equal(planned.order, first.order, [&](std::size_t a, std::size_t b) {
                                  return mSeries.slices[a].rows == mSeries.slices[b].rows &&
                                         mSeries.slices[a].columns == mSeries.slices[b].columns &&
                                         mSeries.slices[a].isColour == mSeries.slices[b].isColour;
                              });
            if (!mPlan.isOneStack || !fits || !isSameGeometry(planned.geometry, first.geometry)) {
                throw formats::VolumeError("The volumes of the series have different positions and do not fit into one "
                                           "file of four dimensions; without --4d each becomes a file.");
            }
        }
    }

    /// The fourth spacing, if the volumes differ in time alone and follow each other evenly.
    void setTimeStep(Volume& volume) const {
        constexpr double kUneven = 0.01;
        if (!mPlan.isInTime || volume.seconds.size() != mPlan.volumes.size()) {
            volume.seconds.clear();
            return;
        }
        const double step =
            (volume.seconds.back() - volume.seconds.front()) / static_cast<double>(volume.seconds.size() - 1);
        bool isEven = step > 0;
        for (std::size_t index = 1; index < volume.seconds.size(); ++index) {
            isEven = isEven &&
                     std::abs(volume.seconds[index] - volume.seconds[index - 1] - step) <= kUneven * std::abs(step);
        }
        volume.header.secondsBetweenVolumes = isEven ? step : 0;
    }

    SeriesSlices& mSeries;
    VolumePlan mPlan;
};

} // namespace

SeriesVolumes assembleVolumes(SeriesSlices& series, PlanOptions options, bool isFourD) {
    options.hasSameSamples = [&series](std::size_t one, std::size_t other) {
        return series.samples->isSame(one, other);
    };
    return Assembly(series, planVolumes(series.slices, options)).assemble(isFourD);
}

std::vector<DiffusionWeighting> weightingsOf(const SeriesSlices& series, const Volume& volume) {
    std::vector<DiffusionWeighting> weightings;
    const std::size_t each = volume.slices.size() / static_cast<std::size_t>(volume.header.volumes);
    for (std::size_t first = 0; first < volume.slices.size(); first += each) {
        const auto weighting = weightingOf(series.slices[volume.slices[first]].traits);
        if (!weighting) {
            return {};
        }
        weightings.push_back(*weighting);
    }
    return weightings;
}

} // namespace radvex::volume
