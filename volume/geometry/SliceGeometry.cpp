#include "volume/geometry/SliceGeometry.h"

#include <algorithm>
#include <iterator>

namespace radvex::volume {

namespace {

/// The distance between slices as their attributes state it, for slices without usable positions.
double statedDistance(const SliceRecord& slice) {
    return slice.spacingBetweenSlices.value_or(slice.sliceThickness.value_or(1));
}

/// Of two values in the middle the lower one: of a usual gap and one with a missing slice, this is the usual gap.
double lowerMedian(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// No matrix describes such a stack.
bool isAgainstPosition(const Finding& finding) {
    switch (finding.kind) {
    case FindingKind::unevenSpacing:
    case FindingKind::missingSlices:
    case FindingKind::duplicatePosition:
    case FindingKind::drift: return finding.isError;
    default: return false;
    }
}

double usualGap(const std::vector<double>& gaps) {
    // Two stacks at the same positions differ by rounding. Such small gaps only count as distances if all gaps are as
    // small, as under a microscope.
    for (const double repetition : {0.01, 1e-6}) {
        std::vector<double> distances;
        std::copy_if(gaps.begin(), gaps.end(), std::back_inserter(distances),
                     [&](double gap) { return gap > repetition; });
        if (!distances.empty()) {
            return lowerMedian(std::move(distances));
        }
    }
    return 0;
}

} // namespace

formats::VolumeGeometry geometryOf(const std::vector<SliceRecord>& slices, const Verdict& verdict,
                                   const std::vector<std::size_t>& order) {
    const SliceRecord& first = slices[order.front()];
    const Orientation orientation = first.orientation.value_or(Orientation{{1, 0, 0}, {0, 1, 0}});
    const PixelSpacing spacing = first.pixelSpacing.value_or(PixelSpacing{});
    const formats::Vector3 normal = orientation.normal();
    formats::VolumeGeometry geometry;
    geometry.columnStep = spacing.betweenColumns * orientation.alongColumns;
    geometry.rowStep = spacing.betweenRows * orientation.alongRows;
    geometry.sliceStep = statedDistance(first) * normal;
    if (!verdict.hasPositions) {
        return geometry;
    }
    std::vector<double> heights; // along the normal
    heights.reserve(order.size());
    for (const std::size_t index : order) {
        heights.push_back(dot(*slices[index].position, normal));
    }
    const bool isAscending = std::is_sorted(heights.begin(), heights.end());
    const bool isDescending = std::is_sorted(heights.rbegin(), heights.rend());
    auto sorted = heights;
    std::sort(sorted.begin(), sorted.end());
    const double usual = gapsOf(sorted).usual;
    geometry.hasPosition = (isAscending || isDescending) && !verdict.has(FindingKind::noPixelSpacing) &&
                           std::ranges::none_of(verdict.findings, isAgainstPosition);
    if (!geometry.hasPosition) {
        geometry.sliceStep = (usual > 0 ? usual : statedDistance(first)) * normal;
        return geometry;
    }
    geometry.origin = *first.position;
    if (order.size() > 1) {
        geometry.sliceStep =
            1 / static_cast<double>(order.size() - 1) * (*slices[order.back()].position - *first.position);
    }
    return geometry;
}

bool isNearlyEven(std::span<const double> heights) {
    constexpr double kOfSpacing = 0.1;
    const double step = (heights.back() - heights.front()) / static_cast<double>(heights.size() - 1);
    for (std::size_t index = 0; index < heights.size(); ++index) {
        if (std::abs(heights[index] - heights.front() - static_cast<double>(index) * step) > kOfSpacing * step) {
            return false;
        }
    }
    return true;
}

bool StackGaps::isUneven(std::size_t index) const { return std::abs(gaps[index] - usual) > tolerance; }

int StackGaps::missingAt(std::size_t index) const {
    constexpr double kLargest = 1.5; // times the usual gap, within the tolerance
    if (usual <= 0 || gaps[index] <= kLargest * usual + tolerance) {
        return 0;
    }
    return std::max(1, static_cast<int>(std::min(std::round(gaps[index] / usual), 1e6)) - 1);
}

StackGaps gapsOf(std::span<const double> heights) {
    StackGaps result;
    for (std::size_t index = 1; index < heights.size(); ++index) {
        result.gaps.push_back(heights[index] - heights[index - 1]);
    }
    result.usual = usualGap(result.gaps);
    result.tolerance = std::max(1e-3 * result.usual, std::min(0.01 + 1e-9, 0.05 * result.usual)); // two decimals
    return result;
}

StackLine lineOf(std::span<const formats::Vector3> positions, const formats::Vector3& normal) {
    const formats::Vector3 whole = positions.back() - positions.front();
    StackLine line;
    line.perMm = 1 / dot(whole, normal) * whole;
    line.sidewaysPerMm = length(line.perMm - normal);
    for (const formats::Vector3& position : positions) {
        const formats::Vector3 shift = position - positions.front();
        line.largestDrift = std::max(line.largestDrift, length(shift - dot(shift, normal) * line.perMm));
    }
    return line;
}

} // namespace radvex::volume
