#include "volume/slices/Diffusion.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using formats::Vector3;
using velmora::StoreView;

namespace {

/// A symmetric matrix, by rows.
using BMatrix = std::array<Vector3, 3>;

std::optional<Vector3> unitVector(const Vector3& vector) {
    constexpr double kShortest = 1e-3; // scanners write 0 0 0 for no direction
    constexpr double kLongest = 1e3;
    const double size = length(vector);
    return size > kShortest && size < kLongest ? std::optional(1 / size * vector) : std::nullopt;
}

std::optional<BMatrix> bMatrixOf(StoreView item) {
    constexpr std::array kKeywords{"DiffusionBValueXX", "DiffusionBValueXY", "DiffusionBValueXZ",
                                   "DiffusionBValueYY", "DiffusionBValueYZ", "DiffusionBValueZZ"};
    std::array<double, kKeywords.size()> values{};
    for (std::size_t index = 0; index < values.size(); ++index) {
        const auto value = realOf(item, kKeywords[index]);
        if (!value) {
            return std::nullopt;
        }
        values[index] = *value;
    }
    const auto [xx, xy, xz, yy, yz, zz] = values;
    return BMatrix{Vector3{xx, xy, xz}, Vector3{xy, yy, yz}, Vector3{xz, yz, zz}};
}

double traceOf(const BMatrix& matrix) { return matrix[0][0] + matrix[1][1] + matrix[2][2]; }

/// The eigenvector of the largest eigenvalue, if that makes up most of the trace.
std::optional<Vector3> principalDirection(const BMatrix& matrix) {
    constexpr double kMost = 0.8; // imaging gradients add to that of diffusion
    constexpr int kSteps = 40;    // the next eigenvalue is at most a quarter, so each step gives two bits
    const double scale = 1 / traceOf(matrix);
    if (!(scale > 0)) {
        return std::nullopt;
    }
    const auto product = [&](const Vector3& vector) {
        return scale * Vector3{dot(matrix[0], vector), dot(matrix[1], vector), dot(matrix[2], vector)};
    };
    const auto longest = std::max_element(matrix.begin(), matrix.end(),
                                          [](const Vector3& a, const Vector3& b) { return length(a) < length(b); });
    auto direction = unitVector(scale * *longest);
    for (int step = 0; step < kSteps && direction; ++step) {
        direction = unitVector(product(*direction));
    }
    const bool isMost = direction && dot(*direction, product(*direction)) >= kMost;
    return isMost ? direction : std::nullopt;
}

std::optional<Vector3> writtenDirection(StoreView weighting) {
    constexpr const char* kKeyword = "DiffusionGradientOrientation";
    auto parts = realsOf(firstItem(weighting, "DiffusionGradientDirectionSequence"), kKeyword);
    if (parts.empty()) {
        parts = realsOf(weighting, kKeyword);
    }
    return parts.size() == 3 ? unitVector({parts[0], parts[1], parts[2]}) : std::nullopt;
}

bool hasDirection(StoreView weighting) {
    const std::string_view directionality = trimmed(weighting.text("DiffusionDirectionality"));
    return directionality != "ISOTROPIC" && directionality != "NONE";
}

/// A short decimal that every reader of FSL's files takes. Rounding errors such as 1e-17 become 0.
std::string shortDecimal(double number) {
    constexpr double kUnit = 1e-8;
    constexpr double kWhole = 1e7; // so that a larger number only loses what a double does not hold
    if (std::abs(number) < kWhole) {
        number = std::round(number / kUnit) * kUnit + 0.0; // the sum turns -0 into 0
    }
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number, std::chars_format::general, 10).ptr};
}

std::string line(std::span<const double> numbers) {
    std::string text;
    for (const double number : numbers) {
        text += (text.empty() ? "" : " ") + shortDecimal(number);
    }
    return text + '\n';
}

/// Unit vectors along which FSL measures the components of a direction, in LPS.
std::array<Vector3, 3> fslAxes(const formats::VolumeGeometry& geometry) {
    const auto unit = [](const Vector3& step) { return 1 / length(step) * step; };
    const Vector3 column = unit(geometry.columnStep);
    const Vector3 row = unit(geometry.rowStep);
    const Vector3 normal = unit(cross(column, row));
    // LPS and RAS differ by half a turn, so that the determinant is the same in both.
    const bool isPositive = dot(normal, geometry.sliceStep) > 0;
    return isPositive ? std::array{-1 * column, row, normal} : std::array{column, row, -1 * normal};
}

} // namespace

std::optional<DiffusionWeighting> diffusionOf(StoreView attributes) {
    const StoreView macro = firstItem(attributes, "MRDiffusionSequence");
    const StoreView weighting = macro.size() > 0 ? macro : attributes;
    const auto matrix = bMatrixOf(firstItem(weighting, "DiffusionBMatrixSequence"));
    auto bValue = realOf(weighting, "DiffusionBValue");
    if (!bValue && matrix) {
        bValue = traceOf(*matrix);
    }
    if (!bValue || !std::isfinite(*bValue) || *bValue < 0) {
        return std::nullopt;
    }
    DiffusionWeighting found{.bValue = *bValue};
    if (found.bValue > 0 && hasDirection(weighting)) {
        found.direction = writtenDirection(weighting);
        if (!found.direction && matrix) {
            found.direction = principalDirection(*matrix);
        }
    }
    return found;
}

std::string bvalText(std::span<const DiffusionWeighting> volumes) {
    std::vector<double> values;
    for (const DiffusionWeighting& volume : volumes) {
        values.push_back(volume.bValue);
    }
    return line(values);
}

std::string bvecText(std::span<const DiffusionWeighting> volumes, const formats::VolumeGeometry& geometry) {
    const bool needsAxes =
        std::ranges::any_of(volumes, [](const auto& volume) { return volume.direction.has_value(); });
    if (needsAxes && !geometry.hasPosition) {
        throw formats::VolumeError(
            "The axes of the volume are unknown, so its diffusion directions cannot be written.");
    }
    std::string text;
    for (const Vector3& axis : fslAxes(geometry)) {
        std::vector<double> components;
        for (const DiffusionWeighting& volume : volumes) {
            components.push_back(volume.direction ? dot(*volume.direction, axis) : 0);
        }
        text += line(components);
    }
    return text;
}

} // namespace radvex::volume
