#include "volume/preview/PreviewWindow.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "volume/samples/VolumeType.h"

namespace radvex::volume {

namespace {

constexpr std::size_t kSampleSize = 65536;
constexpr double kLeftOut = 0.01; ///< at each end
constexpr ValueRange kSoftTissue{-160, 240};

void addFinite(std::vector<double>& values, double value) {
    if (std::isfinite(value)) {
        values.push_back(value);
    }
}

/// Values from all over the volume, ascending. Steps of the golden ratio meet no pattern of rows and columns.
std::vector<double> sampleOf(const VoxelReader& voxels) {
    constexpr double kGoldenRatio = 0.6180339887498949;
    const auto& [columns, rows, slices] = voxels.sizes();
    const std::size_t count = columns * rows * slices;
    std::vector<double> values;
    for (std::size_t number = 0; number < std::min(count, kSampleSize); ++number) {
        double whole = 0;
        const double fraction = std::modf(static_cast<double>(number) * kGoldenRatio, &whole);
        const auto chosen = static_cast<std::size_t>(fraction * static_cast<double>(count));
        const std::size_t index = count <= kSampleSize ? number : std::min(chosen, count - 1);
        addFinite(values, voxels.at({index % columns, index / columns % rows, index / columns / rows}, 0));
    }
    std::ranges::sort(values);
    return values;
}

/// All values of a sample that is equal almost everywhere, with those that the panels show.
ValueRange wholeRange(std::vector<double> values, const std::vector<PreviewPanel>& panels) {
    for (const PreviewPanel& panel : panels) {
        for (const double value : panel.values) {
            addFinite(values, value);
        }
    }
    const auto [lowest, highest] = std::ranges::minmax(values);
    if (lowest < highest) {
        return {lowest, highest};
    }
    const double half = std::max(0.5, std::abs(lowest) * 1e-6);
    return {lowest - half, lowest + half};
}

ValueRange usualRange(const std::vector<double>& values, const std::vector<PreviewPanel>& panels) {
    const auto leftOut = static_cast<std::size_t>(kLeftOut * static_cast<double>(values.size()));
    const ValueRange most{values[leftOut], values[values.size() - 1 - leftOut]};
    return most.lowest < most.highest ? most : wholeRange(values, panels);
}

/// Moves the ends outwards to numbers that are short to read.
ValueRange roundedRange(const ValueRange& range) {
    constexpr double kLargest = 4e307; // so that the difference stays finite
    const double lowest = std::clamp(range.lowest, -kLargest, kLargest);
    const double highest = std::clamp(range.highest, -kLargest, kLargest);
    const double step = std::pow(10, std::floor(std::log10(highest - lowest)) - 2);
    constexpr double kNoise = 1e-6; // of the averages in panels
    const ValueRange rounded{std::floor(lowest / step + kNoise) * step, std::ceil(highest / step - kNoise) * step};
    const bool isUsable = std::isfinite(rounded.highest - rounded.lowest) && rounded.lowest < rounded.highest;
    return isUsable ? rounded : ValueRange{lowest, highest};
}

PreviewWindow windowOf(const ValueRange& range, const std::string& unit) {
    char centre[96];
    std::snprintf(centre, sizeof centre, " (centre %.9g, width %.9g)", range.lowest / 2 + range.highest / 2,
                  range.highest - range.lowest);
    char ends[96];
    std::snprintf(ends, sizeof ends, "window %.9g to %.9g", range.lowest, range.highest);
    return {range.lowest, range.highest, ends + (unit.empty() ? "" : " " + unit) + centre};
}

} // namespace

PreviewWindow previewWindow(const VoxelReader& voxels, const std::vector<PreviewPanel>& panels,
                            const std::string& unit) {
    if (voxels.channels() > 1) {
        const bool isReal = voxels.type() == VNumericArray_F32 || voxels.type() == VNumericArray_F64;
        return {0, isReal ? 1 : rangeOf(voxels.type()).highest, "colour, without a window"};
    }
    const std::vector<double> values = sampleOf(voxels);
    if (values.empty()) {
        return {0, 1, "no voxel that was looked at has a finite value"};
    }
    const bool isSoftTissue =
        unit == "HU" && values.front() <= kSoftTissue.lowest && values.back() >= kSoftTissue.highest;
    return windowOf(isSoftTissue ? kSoftTissue : roundedRange(usualRange(values, panels)), unit);
}

} // namespace radvex::volume
