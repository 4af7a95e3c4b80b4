#include "volume/SliceGeometry.h"

#include <algorithm>

#include "volume/SliceJudge.h"
#include "volume/StackLine.h"

namespace radvex::volume {

namespace {

/// The part of the geometry that lies in the slices.
formats::VolumeGeometry inPlane(const SliceRecord& slice) {
    formats::VolumeGeometry geometry;
    const PixelSpacing spacing = slice.pixelSpacing.value_or(PixelSpacing{});
    const Orientation directions = slice.orientation.value_or(Orientation{{1, 0, 0}, {0, 1, 0}});
    geometry.columnStep = spacing.betweenColumns * directions.alongColumns;
    geometry.rowStep = spacing.betweenRows * directions.alongRows;
    return geometry;
}

formats::Vector3 unitNormal(const SliceRecord& slice) {
    const formats::Vector3 normal = slice.orientation.value_or(Orientation{{1, 0, 0}, {0, 1, 0}}).normal();
    return 1 / length(normal) * normal;
}

/// The distance of slices that do not show it by their positions.
double saidDistance(const SliceRecord& slice) {
    return slice.spacingBetweenSlices.value_or(slice.sliceThickness.value_or(1));
}

/// Heights along their normal of slices that all have a place.
std::vector<double> heightsOf(const std::vector<SliceRecord>& slices, const std::vector<std::size_t>& order) {
    std::vector<double> heights;
    heights.reserve(order.size());
    const formats::Vector3 normal = unitNormal(slices[order.front()]);
    for (const std::size_t index : order) {
        heights.push_back(dot(*slices[index].position, normal));
    }
    return heights;
}

} // namespace

const char* findingName(FindingKind kind) {
    switch (kind) {
    case FindingKind::instanceOrder: return "instanceOrder";
    case FindingKind::noInstanceNumber: return "noInstanceNumber";
    case FindingKind::duplicateInstanceNumber: return "duplicateInstanceNumber";
    case FindingKind::noPosition: return "noPosition";
    case FindingKind::noPixelSpacing: return "noPixelSpacing";
    case FindingKind::unevenSpacing: return "unevenSpacing";
    case FindingKind::missingSlices: return "missingSlices";
    case FindingKind::duplicatePosition: return "duplicatePosition";
    case FindingKind::differentOrientation: return "differentOrientation";
    case FindingKind::differentPixelSpacing: return "differentPixelSpacing";
    case FindingKind::tilt: return "tilt";
    case FindingKind::drift: return "drift";
    case FindingKind::unreadableFile: return "unreadableFile";
    case FindingKind::framesLeftOut: return "framesLeftOut";
    }
    return "";
}

bool Verdict::hasErrors() const {
    return std::any_of(findings.begin(), findings.end(), [](const Finding& finding) { return finding.isError; });
}

bool Verdict::has(FindingKind kind) const {
    return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) { return finding.kind == kind; });
}

Verdict judgeSlices(const std::vector<SliceRecord>& slices) {
    return slices.empty() ? Verdict{} : SliceJudge(slices).judge();
}

formats::VolumeGeometry geometryOf(const std::vector<SliceRecord>& slices, const Verdict& verdict,
                                   const std::vector<std::size_t>& order) {
    const SliceRecord& first = slices[order.front()];
    formats::VolumeGeometry geometry = inPlane(first);
    geometry.sliceStep = saidDistance(first) * unitNormal(first);
    if (!verdict.hasPositions || verdict.has(FindingKind::noPosition) ||
        verdict.has(FindingKind::differentOrientation)) {
        return geometry;
    }
    const auto heights = heightsOf(slices, order);
    const bool isAscending = std::is_sorted(heights.begin(), heights.end());
    const bool isDescending = std::is_sorted(heights.rbegin(), heights.rend());
    auto sorted = heights;
    std::sort(sorted.begin(), sorted.end());
    const double usual = gapsOf(sorted).usual;
    geometry.isPlaced = (isAscending || isDescending) && !verdict.has(FindingKind::differentPixelSpacing) &&
                        !verdict.has(FindingKind::duplicatePosition);
    if (!geometry.isPlaced) {
        geometry.sliceStep = (usual > 0 ? usual : saidDistance(first)) * unitNormal(first);
        return geometry;
    }
    geometry.origin = *first.position;
    if (order.size() > 1) {
        const formats::Vector3 whole = *slices[order.back()].position - *first.position;
        const double steps = verdict.has(FindingKind::missingSlices)
                                 ? std::abs(heights.back() - heights.front()) / usual
                                 : static_cast<double>(order.size() - 1);
        geometry.sliceStep = 1 / steps * whole;
    }
    return geometry;
}

std::string namesOf(const std::vector<std::string>& files) {
    constexpr std::size_t kShown = 6;
    std::string text;
    for (std::size_t index = 0; index < std::min(files.size(), kShown); ++index) {
        text += (index == 0 ? "" : ", ") + files[index];
    }
    return files.size() > kShown ? text + " and " + std::to_string(files.size() - kShown) + " more" : text;
}

} // namespace radvex::volume
