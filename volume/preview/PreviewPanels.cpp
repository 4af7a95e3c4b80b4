#include "volume/preview/PreviewPanels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "volume/samples/VolumeBuffer.h"
#include "volume/samples/VolumeType.h"

namespace radvex::volume {

namespace {

using formats::Vector3;

constexpr double kLongestSide = 480; // in pixels
constexpr double kShortestPanel = 320;
constexpr int kThinnestSide = 24;
constexpr int kMostPerPixel = 4; ///< that a pixel looks at along an axis, so that planes of any size are quick
constexpr double kSecondLetter = 0.4;
constexpr const char* kLetters[3][2] = {{"R", "L"}, {"A", "P"}, {"I", "S"}};

/// A sample that a pixel shows, and how much it counts.
struct Tap {
    std::size_t index;
    double weight;
};
using Taps = std::vector<Tap>;

/// An axis of the volume, as a panel shows it.
struct ShownAxis {
    std::size_t axis = 0; ///< 0 columns, 1 rows, 2 slices
    bool isFlipped = false;
    Vector3 direction{}; ///< to the right or down; zero when unknown
};

/// Reads a step of the geometry; one that cannot be drawn counts as 1 mm.
double spacingOf(const Vector3& step) {
    const double spacing = length(step);
    return std::isfinite(spacing) && spacing > 1e-6 && spacing < 1e6 ? spacing : 1;
}

std::size_t mainPart(const Vector3& direction) {
    std::size_t main = 0;
    for (std::size_t part = 1; part < 3; ++part) {
        main = std::abs(direction[part]) > std::abs(direction[main]) ? part : main;
    }
    return main;
}

/// Samples between which a pixel lies when there are fewer samples than pixels.
Taps neighboursOf(double centre, std::size_t samples) {
    const double last = static_cast<double>(samples - 1);
    const double lower = std::floor(std::clamp(centre, 0.0, last));
    const double fraction = std::clamp(centre - lower, 0.0, 1.0);
    const auto index = static_cast<std::size_t>(lower);
    return {{index, 1 - fraction}, {std::min(index + 1, samples - 1), fraction}};
}

/// Samples that a pixel covers: all of them with their share, or a few when there are many.
Taps coveredBy(double start, double end, std::size_t samples) {
    Taps taps;
    const double covered = end - start;
    if (covered > kMostPerPixel) {
        for (int number = 0; number < kMostPerPixel; ++number) {
            taps.push_back({static_cast<std::size_t>(start + (number + 0.5) * covered / kMostPerPixel), 1});
        }
        return taps;
    }
    const std::size_t last = std::min(static_cast<std::size_t>(std::ceil(end)), samples);
    for (auto index = static_cast<std::size_t>(start); index < last; ++index) {
        const auto from = static_cast<double>(index);
        taps.push_back({index, std::min(end, from + 1) - std::max(start, from)});
    }
    return taps;
}

/// What each pixel along an axis shows.
std::vector<Taps> tapsOf(std::size_t samples, int pixels, bool isFlipped) {
    const double perPixel = static_cast<double>(samples) / pixels;
    std::vector<Taps> taps;
    taps.reserve(static_cast<std::size_t>(pixels));
    for (int pixel = 0; pixel < pixels; ++pixel) {
        taps.push_back(perPixel < 1 ? neighboursOf((pixel + 0.5) * perPixel - 0.5, samples)
                                    : coveredBy(pixel * perPixel, (pixel + 1) * perPixel, samples));
    }
    if (isFlipped) {
        std::ranges::reverse(taps);
    }
    return taps;
}

/// "axial" and the like for the plane between two directions; empty when unknown.
std::string planeName(const Vector3& right, const Vector3& down) {
    constexpr const char* kNames[] = {"sagittal", "coronal", "axial"};
    const Vector3 normal = cross(right, down);
    const double size = length(normal);
    if (!(size > 0)) {
        return "";
    }
    const std::string letters = orientationLetters(normal);
    return std::string(letters.size() > 1 ? "oblique, mainly " : "") + kNames[mainPart(normal)] + ", ";
}

/// Makes the panels of one volume.
class PanelMaker {
  public:
    PanelMaker(const VoxelReader& voxels, const formats::VolumeGeometry& geometry)
        : mVoxels(voxels),
          mSteps{geometry.columnStep, geometry.rowStep, geometry.sliceStep},
          mHasPosition(geometry.hasPosition) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            mExtents[axis] = spacingOf(mSteps[axis]) * static_cast<double>(voxels.sizes()[axis]);
        }
    }

    PreviewPanel storedSlice() const { return panelOf(shown(0, false), shown(1, false), 2); }
    /// The plane of the middle row or column, between the slices and the other axis.
    PreviewPanel across(std::size_t fixed) const {
        const std::size_t inSlice = 1 - fixed;
        if (!mHasPosition) {
            return panelOf(shown(inSlice, false), shown(2, false), fixed);
        }
        const bool areSlicesDown = isMoreUpright(2, inSlice);
        const ShownAxis slices = shown(2, isAgainstView(2));
        const ShownAxis other = shown(inSlice, isAgainstView(inSlice));
        return areSlicesDown ? panelOf(other, slices, fixed) : panelOf(slices, other, fixed);
    }

  private:
    ShownAxis shown(std::size_t axis, bool isFlipped) const {
        const double size = length(mSteps[axis]);
        const bool isKnown = mHasPosition && std::isfinite(size) && size > 0;
        return {axis, isFlipped, isKnown ? (isFlipped ? -1 / size : 1 / size) * mSteps[axis] : Vector3{}};
    }

    /// Pictures grow to the left and to the back of the patient, and down to the feet.
    bool isAgainstView(std::size_t axis) const {
        const std::size_t part = mainPart(mSteps[axis]);
        return (part == 2) == (mSteps[axis][part] > 0);
    }

    /// Of two axes, the one that runs from head to feet is upright; without such, the one from front to back.
    bool isMoreUpright(std::size_t axis, std::size_t other) const {
        const Vector3 a = shown(axis, false).direction;
        const Vector3 b = shown(other, false).direction;
        const std::size_t part = mainPart(a) == 2 || mainPart(b) == 2 ? 2 : 1;
        return std::abs(a[part]) >= std::abs(b[part]);
    }

    double scaleOf(std::size_t across, std::size_t down) const {
        const double common = kLongestSide / std::ranges::max(mExtents);
        return std::max(common, kShortestPanel / std::max(mExtents[across], mExtents[down]));
    }

    PreviewPanel panelOf(const ShownAxis& across, const ShownAxis& down, std::size_t fixed) const {
        constexpr const char* kAxes[] = {"column ", "row ", "slice "};
        PreviewPanel panel;
        panel.pixelsPerMm = scaleOf(across.axis, down.axis);
        const auto wanted = [&](std::size_t axis) {
            return static_cast<int>(std::lround(mExtents[axis] * panel.pixelsPerMm));
        };
        panel.columns = std::max(wanted(across.axis), kThinnestSide);
        panel.rows = std::max(wanted(down.axis), kThinnestSide);
        panel.isWider = wanted(across.axis) < kThinnestSide;
        panel.isHigher = wanted(down.axis) < kThinnestSide;
        panel.left = orientationLetters(-1 * across.direction);
        panel.right = orientationLetters(across.direction);
        panel.top = orientationLetters(-1 * down.direction);
        panel.bottom = orientationLetters(down.direction);
        panel.caption = planeName(across.direction, down.direction) + kAxes[fixed] +
                        std::to_string(mVoxels.sizes()[fixed] / 2 + 1) + " of " +
                        std::to_string(mVoxels.sizes()[fixed]);
        fill(panel, across, down, fixed);
        return panel;
    }

    void fill(PreviewPanel& panel, const ShownAxis& across, const ShownAxis& down, std::size_t fixed) const {
        const VoxelReader::Index& sizes = mVoxels.sizes();
        const std::vector<Taps> columns = tapsOf(sizes[across.axis], panel.columns, across.isFlipped);
        const std::vector<Taps> rows = tapsOf(sizes[down.axis], panel.rows, down.isFlipped);
        VoxelReader::Index index{};
        index[fixed] = sizes[fixed] / 2;
        panel.values.reserve(rows.size() * columns.size() * mVoxels.channels());
        for (const Taps& row : rows) {
            for (const Taps& column : columns) {
                for (std::size_t channel = 0; channel < mVoxels.channels(); ++channel) {
                    panel.values.push_back(mean(index, across.axis, column, down.axis, row, channel));
                }
            }
        }
    }

    /// The weighted mean of the samples that are numbers.
    double mean(VoxelReader::Index index, std::size_t across, const Taps& columns, std::size_t down, const Taps& rows,
                std::size_t channel) const {
        double sum = 0;
        double weights = 0;
        for (const Tap& row : rows) {
            index[down] = row.index;
            for (const Tap& column : columns) {
                index[across] = column.index;
                const double weight = row.weight * column.weight;
                const double value = weight > 0 ? mVoxels.at(index, channel) : 0;
                if (weight > 0 && !std::isnan(value)) {
                    sum += weight * value;
                    weights += weight;
                }
            }
        }
        return weights > 0 ? sum / weights : std::numeric_limits<double>::quiet_NaN();
    }

    const VoxelReader& mVoxels;
    std::array<Vector3, 3> mSteps;
    bool mHasPosition;
    std::array<double, 3> mExtents{}; ///< in mm
};

} // namespace

VoxelReader::VoxelReader(const formats::VolumeHeader& header, const std::vector<formats::SliceBytes>& pieces)
    : mType(header.type),
      mChannels(static_cast<std::size_t>(std::max(header.channels, 1))),
      mSampleBytes(withType(header.type, [](auto sample) { return sizeof sample; })),
      mSizes{static_cast<std::size_t>(std::max(header.columns, 0)), static_cast<std::size_t>(std::max(header.rows, 0)),
             static_cast<std::size_t>(std::max(header.slices, 0))} {
    const std::size_t sliceBytes = storedBytes(1, mSizes[0] * mSizes[1] * mChannels, mType);
    bool isWhole = sliceBytes > 0 && mSizes[2] > 0;
    for (const formats::SliceBytes piece : pieces) {
        isWhole = isWhole && piece.size() % sliceBytes == 0 && piece.size() / sliceBytes <= mSizes[2] - mSlices.size();
        for (std::size_t offset = 0; isWhole && offset < piece.size(); offset += sliceBytes) {
            mSlices.push_back(piece.data() + offset);
        }
    }
    if (!isWhole || mSlices.size() != mSizes[2]) {
        throw formats::VolumeError("The samples of the volume are not as many as its size says.");
    }
}

double VoxelReader::at(const Index& index, std::size_t channel) const {
    const std::size_t sample = (index[1] * mSizes[0] + index[0]) * mChannels + channel;
    const std::byte* const bytes = mSlices[index[2]] + sample * mSampleBytes;
    return withType(mType, [&](auto value) {
        std::memcpy(&value, bytes, sizeof value);
        return static_cast<double>(value);
    });
}

std::vector<PreviewPanel> previewPanels(const VoxelReader& voxels, const formats::VolumeGeometry& geometry) {
    const PanelMaker maker(voxels, geometry);
    return {maker.storedSlice(), maker.across(1), maker.across(0)};
}

std::string orientationLetters(const Vector3& direction) {
    const double size = length(direction);
    if (!(size > 0) || !std::isfinite(size)) {
        return "";
    }
    const auto letterOf = [&](std::size_t part) { return kLetters[part][direction[part] > 0 ? 1 : 0]; };
    const std::size_t main = mainPart(direction);
    const std::size_t others[] = {(main + 1) % 3, (main + 2) % 3};
    const std::size_t second = std::abs(direction[others[0]]) >= std::abs(direction[others[1]]) ? others[0] : others[1];
    const bool hasSecond = std::abs(direction[second]) > kSecondLetter * size;
    return std::string(letterOf(main)) + (hasSecond ? letterOf(second) : "");
}

} // namespace radvex::volume
