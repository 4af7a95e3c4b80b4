#include "volume/geometry/VolumePlan.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <numeric>
#include <tuple>

#include "files/Errors.h"
#include "formats/json/Text.h"
#include "formats/volumes/VolumeFile.h"
#include "volume/geometry/SliceGeometry.h"
#include "volume/geometry/SliceJudge.h"

namespace radvex::volume {

namespace {

bool isSamePosition(const SliceRecord& a, const SliceRecord& b) {
    return a.position == b.position && a.instanceNumber == b.instanceNumber && a.rows == b.rows &&
           a.columns == b.columns;
}

class Planner {
  public:
    Planner(const std::vector<SliceRecord>& slices, const PlanOptions& options) : mSlices(slices), mOptions(options) {}

    VolumePlan plan() {
        Indices all(mSlices.size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        all = withoutCopies(all);
        const auto stacks = stacksOf(mSlices, all);
        if (stacks.size() == 1) {
            planStack(stacks.front(), "");
        } else {
            planStrangers(stacks, all);
        }
        return std::move(mPlan);
    }

  private:
    Indices withoutCopies(const Indices& all) {
        std::map<std::pair<std::string, vint>, std::size_t> known;
        Indices kept;
        Indices copies;
        for (const std::size_t index : all) {
            const SliceRecord& slice = mSlices[index];
            const auto first = known.try_emplace({slice.sopInstanceUid, slice.frame}, index).first->second;
            const bool isCopy = first != index && !slice.sopInstanceUid.empty() &&
                                isSamePosition(mSlices[first], slice) &&
                                (!mOptions.hasSameSamples || mOptions.hasSameSamples(first, index));
            (isCopy ? copies : kept).push_back(index);
        }
        if (!copies.empty()) {
            mPlan.findings.push_back(findingAbout(
                FindingKind::copies, false,
                formats::counted(copies.size(), "slice is a copy of another", "slices are copies of others") +
                    " (same SOPInstanceUID) and left out",
                namesAt(mSlices, copies)));
        }
        return kept;
    }

    /// Several stacks in one series.
    void planStrangers(const std::vector<Indices>& stacks, const Indices& all) {
        using Strangers = PlanOptions::Strangers;
        auto differences = differencesOf(mSlices, stacks);
        if (mOptions.strangers == Strangers::split) {
            for (std::size_t index = 0; index < stacks.size(); ++index) {
                planStack(stacks[index], "-part" + std::to_string(index + 1));
            }
            mPlan.isOneStack = false;
            return;
        }
        if (mOptions.strangers == Strangers::leaveOut) {
            for (Finding& difference : differences) {
                difference.isError = false;
            }
            mPlan.findings.insert(mPlan.findings.end(), differences.begin(), differences.end());
            Indices others;
            std::for_each(stacks.begin() + 1, stacks.end(),
                          [&](const Indices& stack) { others.insert(others.end(), stack.begin(), stack.end()); });
            mPlan.findings.push_back(findingAbout(
                FindingKind::leftOut, false, formats::counted(others.size(), "slice is", "slices are") + " left out",
                namesAt(mSlices, others)));
            planStack(stacks.front(), "");
            return;
        }
        mPlan.findings.insert(mPlan.findings.end(), differences.begin(), differences.end());
        mPlan.findings.back().sentence +=
            " --largest writes the largest stack only, --split each stack as a volume of its own.";
        planTogether(stacks, all);
    }

    /// What is written by force: one volume without a position, with the spacings of the majority.
    void planTogether(const std::vector<Indices>& stacks, const Indices& all) {
        const bool isWritable = std::ranges::none_of(mPlan.findings, [](const Finding& finding) {
            return finding.kind == FindingKind::differentSize || finding.kind == FindingKind::differentColour;
        });
        if (mOptions.isForced && !isWritable) {
            throw formats::VolumeError(mPlan.findings.back().sentence);
        }
        const Verdict verdict = judgeSlices(mSlices, stacks.front(), true);
        PlannedVolume volume;
        volume.geometry = geometryOf(mSlices, verdict, verdict.byPosition);
        volume.geometry.hasPosition = false;
        volume.order = all;
        std::ranges::stable_sort(volume.order, std::less(),
                                 [&](std::size_t index) { return mSlices[index].instanceNumber.value_or(0); });
        mPlan.volumes.push_back(std::move(volume));
        mPlan.isOneStack = false;
    }

    void planStack(const Indices& stack, const std::string& label) {
        SliceGroups groups;
        if (mSlices[stack.front()].hasPosition()) {
            groups = groupsOf(mSlices, stack);
            mPlan.findings.insert(mPlan.findings.end(), groups.findings.begin(), groups.findings.end());
        } else {
            groups.groups.push_back({.slices = stack});
        }
        mPlan.isInTime = groups.isInTime;
        mPlan.isOneStack = mPlan.isOneStack && groups.isComplete;
        std::optional<bool> isAscending; // the direction of the first volume, which all of the stack get
        for (SliceGroup& group : groups.groups) {
            PlannedVolume volume = planVolume(group.slices, isAscending);
            volume.label = label + group.label;
            if (!groups.findings.empty()) { // of the series, which say more
                std::erase_if(volume.findings,
                              [](const Finding& finding) { return finding.kind == FindingKind::duplicatePosition; });
            }
            volume.traits = std::move(group.traits);
            volume.seconds = group.seconds;
            mPlan.volumes.push_back(std::move(volume));
        }
    }

    /// @param isAscending  the order along the normal; if it is empty, it is chosen and set
    PlannedVolume planVolume(const Indices& slices, std::optional<bool>& isAscending) const {
        using Sort = PlanOptions::Sort;
        PlannedVolume volume;
        Verdict verdict = judgeSlices(mSlices, slices, mOptions.sort != Sort::instance);
        if (mOptions.sort == Sort::position && !verdict.hasPositions) {
            throw formats::VolumeError("The slices have no positions to sort them by.");
        }
        const bool isByPosition =
            mOptions.sort == Sort::position || (mOptions.sort == Sort::automatic && !verdict.isInstanceOrderSpatial);
        volume.order = isByPosition ? verdict.byPosition : verdict.byInstance;
        if (verdict.hasPositions && mOptions.sort != Sort::instance) {
            const bool isOwn = volume.order.front() == verdict.byPosition.front();
            if (isAscending.value_or(isOwn) != isOwn) {
                std::ranges::reverse(volume.order);
            }
            isAscending = isAscending.value_or(isOwn);
        }
        if (mOptions.isResampled) {
            resample(volume, verdict);
        }
        if (volume.heights.empty()) {
            volume.geometry = geometryOf(mSlices, verdict, volume.order);
        }
        volume.tiltDegrees = verdict.tiltDegrees;
        volume.findings = std::move(verdict.findings);
        return volume;
    }

    /// An uneven stack that nothing else keeps from having a position becomes an even one of the usual distance.
    void resample(PlannedVolume& volume, Verdict& verdict) const {
        const auto uneven = std::ranges::find(verdict.findings, FindingKind::unevenSpacing, &Finding::kind);
        if (uneven == verdict.findings.end() || !uneven->isError ||
            std::ranges::count_if(verdict.findings, &Finding::isError) > 1) {
            return;
        }
        uneven->isError = false;
        if (const std::size_t hint = uneven->sentence.find(kResampleHint); hint != std::string::npos) {
            uneven->sentence.erase(hint, kResampleHint.size()); // it was followed
        }
        volume.order = verdict.byPosition;
        const SliceRecord& first = mSlices[volume.order.front()];
        const formats::Vector3 normal = first.orientation->normal();
        for (const std::size_t index : volume.order) {
            volume.heights.push_back(dot(*mSlices[index].position, normal));
        }
        const double whole = volume.heights.back() - volume.heights.front();
        const double step = whole / std::round(whole / gapsOf(volume.heights).usual);
        volume.geometry = geometryOf(mSlices, verdict, volume.order);
        volume.geometry.sliceStep = step / whole * (*mSlices[volume.order.back()].position - *first.position);
        verdict.findings.push_back(
            {FindingKind::resampled,
             false,
             "The volume is interpolated between its slices to an even distance of " + shortNumber(step) + " mm.",
             {}});
    }

    const std::vector<SliceRecord>& mSlices;
    const PlanOptions& mOptions;
    VolumePlan mPlan{};
};

} // namespace

VolumePlan planVolumes(const std::vector<SliceRecord>& slices, const PlanOptions& options) {
    return slices.empty() ? VolumePlan{} : Planner(slices, options).plan();
}

} // namespace radvex::volume
