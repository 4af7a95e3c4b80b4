#include "volume/geometry/SliceJudge.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <map>
#include <numbers>
#include <set>

#include "formats/json/Text.h"
#include "volume/geometry/SliceGeometry.h"
#include "volume/geometry/SliceGroups.h"

namespace radvex::volume {

namespace {

/// Judges the slices of one volume, one question after the other.
class SliceJudge {
  public:
    SliceJudge(const std::vector<SliceRecord>& slices, const Indices& volume, bool isByPosition)
        : mSlices(slices), mIsByPosition(isByPosition && slices[volume.front()].hasPosition()) {
        mVerdict.byInstance = volume;
        std::ranges::stable_sort(mVerdict.byInstance, std::less(),
                                 [&](std::size_t index) { return mSlices[index].instanceNumber.value_or(0); });
        mVerdict.byPosition = mVerdict.byInstance;
        mVerdict.hasPositions = slices[volume.front()].hasPosition();
    }

    Verdict judge() {
        if (!mIsByPosition) {
            judgeNumbers();
        }
        judgeContrasts();
        if (!first().pixelSpacing) {
            add(FindingKind::noPixelSpacing, false, "No slice has a usable PixelSpacing; 1 mm is assumed");
        }
        if (mVerdict.hasPositions) {
            mNormal = first().orientation->normal();
            judgeStack();
        } else {
            judgeUnpositioned();
        }
        return std::move(mVerdict);
    }

  private:
    const SliceRecord& first() const { return mSlices[mVerdict.byInstance.front()]; }

    void judgeNumbers() {
        std::map<vint, std::vector<std::string>> filesOfNumber;
        std::vector<std::string> absent;
        std::string last;
        for (const std::size_t index : mVerdict.byInstance) {
            const SliceRecord& slice = mSlices[index];
            if (slice.frames > 1 && slice.file == last) {
                continue; // all frames share the number of the file
            }
            last = slice.file;
            filesOfNumber[slice.instanceNumber.value_or(0)].push_back(slice.file);
            if (!slice.instanceNumber) {
                absent.push_back(slice.file);
            }
        }
        if (!absent.empty()) {
            const std::string sentence =
                formats::counted(absent.size(), "file has", "files have") + " no InstanceNumber (it counts as 0)";
            mVerdict.findings.push_back(
                findingAbout(FindingKind::noInstanceNumber, false, sentence, std::move(absent)));
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
        if (shared > 0) {
            const std::string what = shared == 1 ? " files have InstanceNumber " + std::to_string(sharedNumber)
                                                 : " files share their InstanceNumber with another";
            const std::string sentence =
                std::to_string(sharing.size()) + what + "; which of them comes first is not defined";
            mVerdict.findings.push_back(
                findingAbout(FindingKind::duplicateInstanceNumber, false, sentence, std::move(sharing)));
        }
    }

    /// A stack that alternates between two echoes, or between magnitude and phase, is no volume.
    void judgeContrasts() {
        for (const Trait trait :
             {Trait::echoTime, Trait::inversionTime, Trait::tubeVoltage, Trait::kernel, Trait::diffusionBValue,
              Trait::diffusionDirection, Trait::complexComponent, Trait::energyWindow, Trait::segment,
              Trait::temporalIndex, Trait::temporalIdentifier}) {
            const std::string& usual = first().traits[trait];
            Indices others;
            std::set<std::string> values;
            for (const std::size_t index : mVerdict.byInstance) {
                const std::string& own = mSlices[index].traits[trait];
                values.insert(own);
                if (!isSameContrast(usual, own)) {
                    others.push_back(index);
                }
            }
            // One inversion may serve all slices, which are read one after the other: each has a time of its own.
            constexpr std::size_t kFew = 3; // slices, whose times may as well be those of volumes
            const bool isOfSlice =
                trait == Trait::inversionTime && values.size() > kFew && values.size() == mVerdict.byInstance.size();
            if (!others.empty() && !isOfSlice) {
                add(FindingKind::differentContrast, true,
                    formats::counted(others.size(), "slice differs", "slices differ") + " from the first in " +
                        ruleOf(trait).keyword,
                    others);
            }
        }
    }

    static bool isSameContrast(const std::string& one, const std::string& other) {
        const auto a = decimalOf(one);
        const auto b = decimalOf(other);
        return one == other || (a && b && isNearContrast(std::min(*a, *b), std::max(*a, *b)));
    }

    void judgeUnpositioned() {
        const std::size_t count = mVerdict.byInstance.size();
        add(FindingKind::noPosition, false,
            formats::counted(count, "slice has", "slices have") +
                " no usable ImagePositionPatient and ImageOrientationPatient",
            mVerdict.byInstance);
        if (count > 1 && !first().spacingBetweenSlices) {
            add(FindingKind::assumedSpacing, false,
                "Nothing says how far apart the slices lie; " +
                    (first().sliceThickness ? shortNumber(*first().sliceThickness) + " mm, their thickness, is assumed"
                                            : std::string("1 mm is assumed")));
        }
    }

    void judgeStack() {
        Indices& stack = mVerdict.byPosition;
        std::ranges::stable_sort(stack, std::less(), [&](std::size_t index) { return heightOf(index); });
        if (stack.size() < 2) {
            return;
        }
        std::vector<double> heights;
        std::ranges::transform(stack, std::back_inserter(heights), [&](auto index) { return heightOf(index); });
        const StackGaps gaps = gapsOf(heights);
        judgeGaps(gaps, heights);
        judgeDuplicates(gaps);
        if (heights.back() > heights.front()) {
            judgeLine();
        }
        judgeInstanceOrder(gaps.tolerance);
    }

    void judgeGaps(const StackGaps& gaps, const std::vector<double>& heights) {
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
                around.insert(around.end(), {mVerdict.byPosition[index], mVerdict.byPosition[index + 1]});
            } else {
                uneven.push_back(mVerdict.byPosition[index + 1]);
                smallest = std::min(smallest, gaps.gaps[index]);
                largest = std::max(largest, gaps.gaps[index]);
            }
        }
        if (missing > 0) {
            add(FindingKind::missingSlices, true,
                formats::counted(missing, "slice is", "slices are") + " missing: neighbours lie up to " +
                    shortNumber(largestHole) + " mm apart instead of " + shortNumber(gaps.usual),
                around);
        }
        // Small differences may add up. Doubled slices are told of by themselves.
        const bool isFarOff = !hasDuplicates(gaps) && !isNearlyEven(heights);
        if (!uneven.empty() || (isFarOff && missing == 0)) {
            const bool isError = missing > 0 || isFarOff;
            add(FindingKind::unevenSpacing, isError,
                (uneven.empty() ? std::string("The spacing is uneven: small differences between slices add up")
                                : "The spacing is uneven: neighbours lie " + shortNumber(smallest) + " to " +
                                      shortNumber(largest) + " mm apart, most of them " + shortNumber(gaps.usual)) +
                    std::string(isError && missing == 0 ? kResampleHint : ""),
                uneven);
        }
    }

    static bool hasDuplicates(const StackGaps& gaps) {
        for (std::size_t index = 0; index < gaps.gaps.size(); ++index) {
            if (gaps.isDuplicate(index)) {
                return true;
            }
        }
        return false;
    }

    void judgeDuplicates(const StackGaps& gaps) {
        for (std::size_t index = 0; index < gaps.gaps.size(); ++index) {
            if (!gaps.isDuplicate(index)) {
                continue;
            }
            const Indices pair{mVerdict.byPosition[index], mVerdict.byPosition[index + 1]};
            const formats::Vector3 shift = *mSlices[pair[1]].position - *mSlices[pair[0]].position;
            const double sideways = length(shift - dot(shift, mNormal) * mNormal);
            if (sideways > gaps.tolerance && sideways > 0.01) {
                add(FindingKind::drift, true,
                    "Slices at one height lie " + shortNumber(sideways) + " mm apart sideways", pair);
            } else {
                add(FindingKind::duplicatePosition, true, "2 slices lie at one position", pair);
            }
            return;
        }
    }

    void judgeLine() {
        constexpr double kTilt = 1e-3; // as tangent
        std::vector<formats::Vector3> positions;
        for (const std::size_t index : mVerdict.byPosition) {
            positions.push_back(*mSlices[index].position);
        }
        const StackLine line = lineOf(positions, mNormal);
        if (line.sidewaysPerMm > kTilt) {
            mVerdict.tiltDegrees = std::atan(line.sidewaysPerMm) * 180 / std::numbers::pi;
            add(FindingKind::tilt, false,
                "The slices are stacked at " + shortNumber(*mVerdict.tiltDegrees) +
                    " degrees to their normal (gantry tilt); the volume is sheared");
        }
        const PixelSpacing pixel = first().pixelSpacing.value_or(PixelSpacing{});
        if (line.largestDrift > 0.1 * std::min(pixel.betweenRows, pixel.betweenColumns) &&
            !mVerdict.has(FindingKind::drift)) {
            add(FindingKind::drift, true,
                "The slices shift sideways by up to " + shortNumber(line.largestDrift) +
                    " mm off the line from the first to the last");
        }
    }

    /// Files have numbers of their own, which can say an order; frames have those of their file.
    bool haveNumbers() const {
        std::set<vint> numbers;
        return std::ranges::all_of(mVerdict.byInstance, [&](std::size_t index) {
            const SliceRecord& slice = mSlices[index];
            return slice.frames > 1 || (slice.instanceNumber && numbers.insert(*slice.instanceNumber).second);
        });
    }

    void judgeInstanceOrder(double tolerance) {
        bool isAscending = true;
        bool isDescending = true;
        std::optional<double> before;
        for (const std::size_t index : mVerdict.byInstance) {
            const double height = heightOf(index);
            isAscending = isAscending && (!before || height >= *before - tolerance);
            isDescending = isDescending && (!before || height <= *before + tolerance);
            before = height;
        }
        mVerdict.isInstanceOrderSpatial = isAscending || isDescending;
        if (mVerdict.isInstanceOrderSpatial) {
            return;
        }
        if (mIsByPosition && !haveNumbers()) {
            add(FindingKind::noInstanceNumber, false,
                "The files have no InstanceNumber of their own each; the slices are sorted by position");
            return;
        }
        const bool areFrames = first().frames > 1;
        add(FindingKind::instanceOrder, !mIsByPosition,
            std::string("The order ") + (areFrames ? "of the frames" : "by InstanceNumber") +
                " is not the order in space" +
                (mIsByPosition ? "; the slices are sorted by position" : " (--sort position mends it)"));
    }

    void add(FindingKind kind, bool isError, const std::string& sentence, const Indices& slices = {}) {
        mVerdict.findings.push_back(findingAbout(kind, isError, sentence, namesAt(mSlices, slices)));
    }

    double heightOf(std::size_t index) const { return dot(*mSlices[index].position, mNormal); }

    const std::vector<SliceRecord>& mSlices;
    bool mIsByPosition;
    Verdict mVerdict{};
    formats::Vector3 mNormal{};
};

} // namespace

Verdict judgeSlices(const std::vector<SliceRecord>& slices, const Indices& volume, bool isByPosition) {
    return volume.empty() ? Verdict{} : SliceJudge(slices, volume, isByPosition).judge();
}

} // namespace radvex::volume
