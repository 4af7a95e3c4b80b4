#include "volume/StackLine.h"

#include <algorithm>

namespace radvex::volume {

namespace {

/// The lower one of two in the middle: of a usual gap and one over a missing slice, it is the first.
double lowerMedian(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double usualGap(const std::vector<double>& gaps) {
    // Two stacks at the same places differ by what their writer rounded; only where all gaps are that small (a
    // microscope) are such gaps distances.
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

bool StackGaps::isUneven(std::size_t index) const { return std::abs(gaps[index] - usual) > tolerance; }

int StackGaps::missingAt(std::size_t index) const {
    constexpr double kWhole = 0.1;
    const double ratio = usual > 0 ? gaps[index] / usual : 0;
    const double nearest = std::round(ratio);
    if (nearest < 2 || std::abs(ratio - nearest) > kWhole) {
        return 0;
    }
    return static_cast<int>(std::min(nearest, 1e6)) - 1;
}

StackGaps gapsOf(std::span<const double> heights) {
    StackGaps result;
    for (std::size_t index = 1; index < heights.size(); ++index) {
        result.gaps.push_back(heights[index] - heights[index - 1]);
    }
    result.usual = usualGap(result.gaps);
    result.tolerance = std::max(1e-3 * result.usual, std::min(0.01, 0.05 * result.usual));
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
