#pragma once

#include <algorithm>
#include <map>

#include "volume/SliceGeometry.h"
#include "volume/StackLine.h"

namespace radvex::volume {

/// Indices of the values, grouped by what is the same to `isSame`; the largest group first, of equal ones the earlier.
template <typename Value, typename IsSame>
std::vector<std::vector<std::size_t>> groupsOf(const std::vector<Value>& values, IsSame isSame) {
    std::vector<std::vector<std::size_t>> groups;
    for (std::size_t index = 0; index < values.size(); ++index) {
        const auto known = std::find_if(groups.begin(), groups.end(), [&](const auto& group) {
            return isSame(values[group.front()], values[index]);
        });
        if (known == groups.end()) {
            groups.push_back({index});
        } else {
            known->push_back(index);
        }
    }
    std::stable_sort(groups.begin(), groups.end(), [](const auto& a, const auto& b) { return a.size() > b.size(); });
    return groups;
}

/// Judges the slices of one volume, one question after the other.
class SliceJudge {
  public:
    explicit SliceJudge(const std::vector<SliceRecord>& slices) : mSlices(slices) {}

    Verdict judge();

  private:
    using Indices = std::vector<std::size_t>;

    void judgeNumbers();
    void judgeSharedNumbers(const std::map<vint, std::vector<std::string>>& filesOfNumber);
    void judgePixelSpacings();
    void judgePositions();
    void judgeOrientations(const Indices& positioned);
    void judgeStack();
    void judgeGaps(const StackGaps& gaps);
    void judgeDuplicates(const StackGaps& gaps);
    void judgeLine(bool hasDuplicates);
    void judgeInstanceOrder(double tolerance);

    void addFinding(FindingKind kind, bool isError, const std::string& sentence, std::vector<std::string> files);
    std::vector<std::string> namesAt(const Indices& indices) const;
    double heightOf(std::size_t index) const { return dot(*mSlices[index].position, mNormal); }

    const std::vector<SliceRecord>& mSlices;
    Verdict mVerdict{};
    Indices mStack{}; ///< slices of the one direction that most have, in spatial order
    formats::Vector3 mNormal{};
};

} // namespace radvex::volume
