#include "volume/SliceJudge.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iterator>
#include <map>
#include <numbers>
#include <numeric>
#include <set>
#include <span>

#include "formats/json/Text.h"
#include "volume/SliceGeometry.h"

namespace radvex::volume {

namespace {

using Indices = std::vector<std::size_t>;

constexpr double kDirection = 1e-3; // the precision of cosines with three decimals

bool isSameVector(const formats::Vector3& a, const formats::Vector3& b) {
    return std::ranges::equal(a, b, [](double one, double other) { return std::abs(one - other) <= kDirection; });
}

bool isSameOrientation(const Orientation& a, const Orientation& b) {
    return isSameVector(a.alongColumns, b.alongColumns) && isSameVector(a.alongRows, b.alongRows);
}

bool isSameLength(double a, double b) { return std::abs(a - b) <= 1e-3 * std::max(a, b); }

bool isSameSpacing(const std::optional<PixelSpacing>& a, const std::optional<PixelSpacing>& b) {
    return a.has_value() == b.has_value() &&
           (!a || (isSameLength(a->betweenRows, b->betweenRows) && isSameLength(a->betweenColumns, b->betweenColumns)));
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

Indices joined(std::span<const Indices> groups) {
    Indices all;
    for (const Indices& group : groups) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

/// Indices in groups of the same; the largest group first, of equally large ones the earlier.
template <typename IsSame>
std::vector<Indices> groupsOf(const Indices& indices, IsSame isSame) {
    std::vector<Indices> groups;
    for (const std::size_t index : indices) {
        const auto known =
            std::ranges::find_if(groups, [&](const Indices& group) { return isSame(group.front(), index); });
        if (known == groups.end()) {
            groups.push_back({index});
        } else {
            known->push_back(index);
        }
    }
    std::ranges::stable_sort(groups, std::greater(), &Indices::size);
    return groups;
}

/// Judges the slices of one volume, one question after the other.
class SliceJudge {
  public:
    explicit SliceJudge(const std::vector<SliceRecord>& slices) : mSlices(slices), mAll(slices.size()) {}

    Verdict judge() {
        std::iota(mAll.begin(), mAll.end(), std::size_t{0});
        mVerdict.byInstance = mAll;
        std::ranges::stable_sort(mVerdict.byInstance, std::less(),
                                 [&](std::size_t index) { return mSlices[index].instanceNumber.value_or(0); });
        judgeNumbers();
        judgePixelSpacings();
        judgePositions();
        return std::move(mVerdict);
    }

  private:
    void judgeNumbers() {
        std::map<vint, std::vector<std::string>> filesOfNumber;
        std::vector<std::string> absent;
        for (const std::size_t index : mVerdict.byInstance) {
            const SliceRecord& slice = mSlices[index];
            if (slice.frame != 1) {
                continue; // all frames share the number of the file
            }
            filesOfNumber[slice.instanceNumber.value_or(0)].push_back(slice.file);
            if (!slice.instanceNumber) {
                absent.push_back(slice.file);
            }
        }
        if (!absent.empty()) {
            const std::string sentence =
                formats::counted(absent.size(), "file has", "files have") + " no InstanceNumber";
            addFinding(FindingKind::noInstanceNumber, false, sentence + " (it counts as 0)", std::move(absent));
        }
        judgeSharedNumbers(filesOfNumber);
    }

    void judgeSharedNumbers(const std::map<vint, std::vector<std::string>>& filesOfNumber) {
        std::vector<std::string> sharing;
        std::size_t shared = 0;
        vint sharedNumber = 0;
        for (const auto& [number, files] : filesOfNumber) {
            if (files.size() > 1) {
                sharing.insert(sharing.end(), files.begin(), files.end());
                sharedNumber = number;
                ++shared;
            }
        }
        mVerdict.hasOneNumberEach = shared == 0;
        if (shared > 0) {
            const std::string what = shared == 1 ? " files have InstanceNumber " + std::to_string(sharedNumber)
                                                 : " files share their InstanceNumber with another";
            const std::string sentence =
                std::to_string(sharing.size()) + what + "; which of them comes first is not defined";
            addFinding(FindingKind::duplicateInstanceNumber, false, sentence, std::move(sharing));
        }
    }

    void judgePixelSpacings() {
        const auto groups = groupsOf(mAll, [&](std::size_t a, std::size_t b) {
            return isSameSpacing(mSlices[a].pixelSpacing, mSlices[b].pixelSpacing);
        });
        if (groups.size() == 1 && !mSlices.front().pixelSpacing) {
            addFinding(FindingKind::noPixelSpacing, false, "No slice has a usable PixelSpacing; 1 mm is assumed",
                       namesAt(groups.front()));
        }
        if (groups.size() > 1) {
            const auto& usual = mSlices[groups.front().front()].pixelSpacing;
            const Indices others = joined(std::span(groups).subspan(1));
            addFinding(
                FindingKind::differentPixelSpacing, true,
                formats::counted(others.size(), "slice differs", "slices differ") +
                    " in PixelSpacing from most, which have " +
                    (usual ? number(usual->betweenRows) + " x " + number(usual->betweenColumns) + " mm" : "none"),
                namesAt(others));
        }
    }

    void judgePositions() {
        Indices positioned;
        Indices unpositioned;
        for (const std::size_t index : mVerdict.byInstance) {
            (mSlices[index].hasPosition() ? positioned : unpositioned).push_back(index);
        }
        if (!unpositioned.empty()) {
            // If only some slices have positions, the others do not belong to the volume.
            addFinding(FindingKind::noPosition, !positioned.empty(),
                       formats::counted(unpositioned.size(), "slice has", "slices have") +
                           " no usable ImagePositionPatient and ImageOrientationPatient",
                       namesAt(unpositioned));
        }
        mVerdict.byPosition = mVerdict.byInstance;
        if (positioned.empty()) {
            return;
        }
        mVerdict.hasPositions = true;
        judgeOrientations(positioned);
        judgeStack();
        mVerdict.byPosition = mStack;
        const std::set<std::size_t> sorted(mStack.begin(), mStack.end());
        std::copy_if(mVerdict.byInstance.begin(), mVerdict.byInstance.end(), std::back_inserter(mVerdict.byPosition),
                     [&](std::size_t index) { return !sorted.contains(index); });
    }

    void judgeOrientations(const Indices& positioned) {
        auto groups = groupsOf(positioned, [&](std::size_t a, std::size_t b) {
            return isSameOrientation(*mSlices[a].orientation, *mSlices[b].orientation);
        });
        if (const Indices others = joined(std::span(groups).subspan(1)); !others.empty()) {
            addFinding(FindingKind::differentOrientation, true,
                       formats::counted(others.size(), "slice lies", "slices lie") + " in another direction than most",
                       namesAt(others));
        }
        mStack = std::move(groups.front());
        mNormal = mSlices[mStack.front()].orientation->normal();
    }

    void judgeStack() {
        std::ranges::stable_sort(mStack, std::less(), [&](std::size_t index) { return heightOf(index); });
        if (mStack.size() < 2) {
            return;
        }
        std::vector<double> heights;
        std::ranges::transform(mStack, std::back_inserter(heights), [&](auto index) { return heightOf(index); });
        const StackGaps gaps = gapsOf(heights);
        judgeGaps(gaps);
        judgeDuplicates(gaps);
        if (!mVerdict.has(FindingKind::duplicatePosition)) {
            judgeLine();
        }
        judgeInstanceOrder(gaps.tolerance);
    }

    void judgeGaps(const StackGaps& gaps) {
        Indices uneven;
        Indices around;
        std::size_t missing = 0;
        double smallest = gaps.usual;
        double largest = gaps.usual;
        double largestHole = 0;
        for (std::size_t index = 0; index < gaps.gaps.size(); ++index) {
            if (gaps.isDuplicate(index) || !gaps.isUneven(index)) {
                continue;
            }
            if (const int inside = gaps.missingAt(index); inside > 0) {
                missing += static_cast<std::size_t>(inside);
                largestHole = std::max(largestHole, gaps.gaps[index]);
                around.insert(around.end(), {mStack[index], mStack[index + 1]});
            } else {
                uneven.push_back(mStack[index + 1]);
                smallest = std::min(smallest, gaps.gaps[index]);
                largest = std::max(largest, gaps.gaps[index]);
            }
        }
        if (missing > 0) {
            addFinding(FindingKind::missingSlices, true,
                       formats::counted(missing, "slice is", "slices are") + " missing: neighbours lie up to " +
                           number(largestHole) + " mm apart instead of " + number(gaps.usual),
                       namesAt(around));
        }
        if (!uneven.empty()) {
            addFinding(FindingKind::unevenSpacing, false,
                       "The spacing is uneven: neighbours lie " + number(smallest) + " to " + number(largest) +
                           " mm apart, most of them " + number(gaps.usual),
                       namesAt(uneven));
        }
    }

    void judgeDuplicates(const StackGaps& gaps) {
        std::vector<Indices> positions{{mStack.front()}};
        for (std::size_t index = 0; index < gaps.gaps.size(); ++index) {
            if (!gaps.isDuplicate(index)) {
                positions.emplace_back();
            }
            positions.back().push_back(mStack[index + 1]);
        }
        const std::size_t each = positions.front().size();
        if (positions.size() > 1 && each > 1 &&
            std::ranges::all_of(positions, [&](const Indices& slices) { return slices.size() == each; })) {
            addFinding(FindingKind::duplicatePosition, true,
                       "Each of the " + std::to_string(positions.size()) + " positions holds " + std::to_string(each) +
                           " slices: these are several volumes, such as echoes or points in time",
                       namesAt(mStack));
            return;
        }
        std::erase_if(positions, [](const Indices& slices) { return slices.size() == 1; });
        if (!positions.empty()) {
            const Indices all = joined(positions);
            addFinding(FindingKind::duplicatePosition, true,
                       positions.size() == 1 ? std::to_string(all.size()) + " slices lie at one position"
                                             : std::to_string(positions.size()) + " positions hold more than one slice",
                       namesAt(all));
        }
    }

    void judgeLine() {
        constexpr double kTilt = 1e-3; // as tangent
        std::vector<formats::Vector3> positions;
        for (const std::size_t index : mStack) {
            positions.push_back(*mSlices[index].position);
        }
        const StackLine line = lineOf(positions, mNormal);
        if (line.sidewaysPerMm > kTilt) {
            mVerdict.tiltDegrees = std::atan(line.sidewaysPerMm) * 180 / std::numbers::pi;
            addFinding(FindingKind::tilt, false,
                       "The slices are stacked at " + number(*mVerdict.tiltDegrees) +
                           " degrees to their normal (gantry tilt); the volume is sheared",
                       {});
        }
        const PixelSpacing pixel = mSlices[mStack.front()].pixelSpacing.value_or(PixelSpacing{});
        if (line.largestDrift > 0.1 * std::min(pixel.betweenRows, pixel.betweenColumns)) {
            addFinding(FindingKind::drift, false,
                       "The slices shift sideways by up to " + number(line.largestDrift) +
                           " mm off the line from the first to the last",
                       {});
        }
    }

    void judgeInstanceOrder(double tolerance) {
        bool isAscending = true;
        bool isDescending = true;
        std::optional<double> before;
        const std::set<std::size_t> stack(mStack.begin(), mStack.end());
        for (const std::size_t index : mVerdict.byInstance) {
            if (!stack.contains(index)) {
                continue;
            }
            const double height = heightOf(index);
            isAscending = isAscending && (!before || height >= *before - tolerance);
            isDescending = isDescending && (!before || height <= *before + tolerance);
            before = height;
        }
        if (!isAscending && !isDescending) {
            addFinding(FindingKind::instanceOrder, false, "The order by InstanceNumber is not the order in space", {});
        }
    }

    void addFinding(FindingKind kind, bool isError, const std::string& sentence, std::vector<std::string> files) {
        const std::string names = files.empty() ? "" : ": " + namesOf(files);
        mVerdict.findings.push_back({kind, isError, sentence + names + ".", std::move(files)});
    }

    std::vector<std::string> namesAt(const Indices& indices) const {
        std::vector<std::string> names;
        std::ranges::transform(indices, std::back_inserter(names), [&](auto index) { return mSlices[index].name(); });
        return names;
    }

    double heightOf(std::size_t index) const { return dot(*mSlices[index].position, mNormal); }

    const std::vector<SliceRecord>& mSlices;
    Indices mAll;
    Verdict mVerdict{};
    Indices mStack{}; ///< slices of the most frequent orientation, in spatial order
    formats::Vector3 mNormal{};
};

} // namespace

Verdict judgeSlices(const std::vector<SliceRecord>& slices) {
    return slices.empty() ? Verdict{} : SliceJudge(slices).judge();
}

} // namespace radvex::volume
