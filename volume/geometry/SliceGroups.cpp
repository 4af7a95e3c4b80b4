#include "volume/geometry/SliceGroups.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <tuple>

#include "formats/json/Text.h"
#include "formats/volumes/VolumeFile.h"
#include "volume/geometry/GroupLabels.h"
#include "volume/geometry/SliceGeometry.h"

namespace radvex::volume {

namespace {

/// What tells the volume of a slice from others: the values of the traits in use.
using Key = std::vector<std::string>;

/// Finds out what tells the slices of a stack apart.
class Grouping {
  public:
    Grouping(const std::vector<SliceRecord>& slices, const Indices& stack)
        : mSlices(slices), mStack(stack), mPositions(positionsOf(slices, stack)) {
        for (std::size_t position = 0; position < mPositions.size(); ++position) {
            for (const std::size_t slice : mPositions[position]) {
                mPositionOf[slice] = position;
                mKeys[slice];
            }
        }
        for (const Trait trait : {Trait::echoTime, Trait::inversionTime, Trait::diffusionBValue}) {
            joinNearNumbers(trait);
        }
    }

    SliceGroups find() {
        if (isUnique()) {
            return result();
        }
        for (std::size_t index = 0; index < kTraitCount; ++index) {
            const auto trait = static_cast<Trait>(index);
            if (isContrast(trait) && separates(trait)) { // all that differ: a time must not mix contrasts
                use(trait);
            }
        }
        for (std::size_t index = 0; index < kTraitCount && !isUnique(); ++index) {
            const auto trait = static_cast<Trait>(index);
            if (!isContrast(trait) && separates(trait)) {
                tryOrderOf(trait);
            }
        }
        if (!isUnique() && mPartial) {
            use(*mPartial);
        }
        return result();
    }

  private:
    static bool isContrast(Trait trait) {
        return ruleOf(trait).role == TraitRole::contrast || trait == Trait::segment || trait == Trait::stack;
    }

    /// Numbers of a contrast that nearly agree count as the first of them: scanners write 2.460 and 2.461 for one echo.
    const std::string& valueOf(std::size_t slice, Trait trait) const {
        const std::string& own = mSlices[slice].traits[trait];
        const auto usual = mUsual.find({trait, own});
        return usual == mUsual.end() ? own : usual->second;
    }

    /// Values that occur together at a position tell volumes apart, however near they are.
    void joinNearNumbers(Trait trait) {
        std::map<double, std::pair<std::string, std::set<std::size_t>>> numbers; // texts and positions
        for (const std::size_t slice : mStack) {
            const std::string& text = mSlices[slice].traits[trait];
            if (const auto number = decimalOf(text)) {
                numbers.try_emplace(*number, text, std::set<std::size_t>{})
                    .first->second.second.insert(mPositionOf[slice]);
            }
        }
        const std::string* usual = nullptr;
        double lowest = 0;
        std::set<std::size_t> positions; // of the usual value
        for (const auto& [number, value] : numbers) {
            const auto& [text, own] = value;
            const bool isTogether =
                std::ranges::any_of(own, [&](std::size_t position) { return positions.contains(position); });
            if (usual == nullptr || isTogether || !isNearContrast(lowest, number)) {
                usual = &text;
                lowest = number;
                positions = own;
            } else {
                mUsual.emplace(std::pair(trait, text), *usual);
                positions.insert(own.begin(), own.end());
            }
        }
    }

    /// Whether each volume has one slice at each position at most.
    bool isUnique() const {
        return std::ranges::all_of(mPositions, [&](const Indices& position) {
            std::set<Key> keys;
            return std::ranges::all_of(position, [&](auto slice) { return keys.insert(mKeys.at(slice)).second; });
        });
    }

    /// Whether it tells slices of one position and volume apart.
    bool separates(Trait trait) const {
        return std::ranges::any_of(mPositions, [&](const Indices& position) {
            std::map<Key, const std::string*> first;
            return std::ranges::any_of(position, [&](std::size_t slice) {
                const std::string& value = valueOf(slice, trait);
                return *first.try_emplace(mKeys.at(slice), &value).first->second != value;
            });
        });
    }

    void use(Trait trait) {
        for (auto& [slice, key] : mKeys) {
            key.push_back(valueOf(slice, trait));
        }
        mTraits.push_back(trait);
    }

    /// Uses an index or a time if it tells all slices apart and all volumes have the same positions; the order of its
    /// values at each position if it is a time.
    void tryOrderOf(Trait trait) {
        if (mayPassMidnight(trait)) {
            return;
        }
        const auto before = mKeys;
        use(trait);
        const bool isPart = ruleOf(trait).role == TraitRole::part;
        if (isUnique() && (isPart ? areStacks() : areComplete())) {
            return;
        }
        if (isUnique() && !mPartial && areStacks()) {
            mPartial = trait; // most volumes have most positions: some are missing
        }
        mKeys = before;
        mTraits.pop_back();
        if (ruleOf(trait).role == TraitRole::time) {
            useRanksOf(trait);
        }
    }

    std::map<Key, std::set<std::size_t>> positionsOfKeys() const {
        std::map<Key, std::set<std::size_t>> positions;
        for (const auto& [slice, key] : mKeys) {
            positions[key].insert(mPositionOf.at(slice));
        }
        return positions;
    }

    bool areComplete() const {
        return std::ranges::all_of(positionsOfKeys(),
                                   [&](const auto& entry) { return entry.second.size() == mPositions.size(); });
    }

    /// Volumes of neighbouring positions, none of a single slice: not just any numbers.
    bool areStacks() const {
        const auto all = positionsOfKeys();
        return std::ranges::all_of(all, [&](const auto& entry) {
            const std::set<std::size_t>& positions = entry.second;
            const std::size_t span = *positions.rbegin() - *positions.begin() + 1;
            return (positions.size() > 1 || mPositions.size() == 1) && 2 * positions.size() > span;
        });
    }

    /// Times of day that are far apart may be those of two days, and some with a date cannot be compared with others.
    bool mayPassMidnight(Trait trait) const {
        double earliest = std::numeric_limits<double>::infinity();
        double latest = 0;
        for (const std::size_t slice : mStack) {
            if (const auto time = decimalOf(valueOf(slice, trait))) {
                earliest = std::min(earliest, *time);
                latest = std::max(latest, *time);
            }
        }
        const bool isOfDay = trait == Trait::acquisitionTime || trait == Trait::contentTime;
        const bool isSpread = latest <= kSecondsOfDay && latest - earliest > kSecondsOfDay / 2;
        const bool haveSomeDates = earliest <= kSecondsOfDay && latest > kSecondsOfDay;
        return isOfDay && (isSpread || haveSomeDates);
    }

    /// The k-th value at each position is that of volume k, if every position has as many.
    void useRanksOf(Trait trait) {
        auto ranked = mKeys;
        std::map<Key, std::size_t> counts;
        for (const Indices& position : mPositions) {
            std::map<Key, std::vector<std::pair<double, std::size_t>>> times;
            for (const std::size_t slice : position) {
                const auto time = decimalOf(valueOf(slice, trait));
                if (!time) {
                    return;
                }
                times[mKeys.at(slice)].emplace_back(*time, slice);
            }
            for (auto& [key, list] : times) {
                std::ranges::sort(list);
                const auto isTie = [](const auto& a, const auto& b) { return a.first == b.first; };
                if (std::ranges::adjacent_find(list, isTie) != list.end() ||
                    counts.try_emplace(key, list.size()).first->second != list.size()) {
                    return;
                }
                for (std::size_t rank = 0; rank < list.size(); ++rank) {
                    ranked[list[rank].second].push_back(std::to_string(rank + 1));
                }
            }
        }
        mKeys = std::move(ranked);
        mTraits.push_back(trait);
    }

    SliceGroups result() {
        SliceGroups found;
        for (const auto& [key, slices] : sortedSlices()) {
            SliceGroup group{.slices = slices};
            for (std::size_t index = 0; index < mTraits.size(); ++index) {
                group.traits.emplace_back(ruleOf(mTraits[index]).keyword, key[index]);
            }
            group.seconds = secondsOf(slices);
            found.groups.push_back(std::move(group));
        }
        labelGroups(found.groups, mTraits, mRanks);
        found.isInTime = found.groups.size() > 1 && std::ranges::all_of(mTraits, [](Trait trait) {
                             return std::string_view(ruleOf(trait).label) == "time";
                         });
        found.isComplete = areComplete();
        if (!isUnique()) {
            found.findings.push_back(indistinguishable());
        } else if (!found.isComplete && hasToBeComplete()) {
            found.findings.push_back(incomplete(found.groups));
        }
        return found;
    }

    /// Slices in the order of their files' numbers.
    Indices byInstance() const {
        Indices order = mStack;
        std::ranges::stable_sort(order, std::less(), [&](std::size_t slice) {
            return std::pair(mSlices[slice].instanceNumber.value_or(0), mSlices[slice].frame);
        });
        return order;
    }

    /// Values of a trait in their order: numbers by size, others as they first appear by InstanceNumber.
    ValueRanks ranksOf(std::size_t trait) const {
        std::vector<std::string> values;
        bool areNumbers = true;
        std::set<std::string> known;
        for (const std::size_t slice : byInstance()) {
            const std::string& value = mKeys.at(slice)[trait];
            if (known.insert(value).second) {
                values.push_back(value);
                areNumbers = areNumbers && (value.empty() || decimalOf(value));
            }
        }
        if (areNumbers) {
            std::ranges::stable_sort(values, std::less(), [](const std::string& value) {
                return decimalOf(value).value_or(-1e300); // slices without the attribute first
            });
        }
        ValueRanks ranks;
        for (const std::string& value : values) {
            ranks.emplace(value, ranks.size() + 1);
        }
        return ranks;
    }

    /// The slices of each key, in the order of the keys' values; each group along the normal.
    std::vector<std::pair<Key, Indices>> sortedSlices() {
        mRanks.clear();
        for (std::size_t trait = 0; trait < mTraits.size(); ++trait) {
            mRanks.push_back(ranksOf(trait));
        }
        std::map<std::vector<std::size_t>, std::pair<Key, Indices>> sorted;
        for (const std::size_t slice : mStack) {
            const Key& key = mKeys.at(slice);
            std::vector<std::size_t> ranks;
            for (std::size_t trait = 0; trait < key.size(); ++trait) {
                ranks.push_back(mRanks[trait].at(key[trait]));
            }
            auto& [own, slices] = sorted[ranks];
            own = key;
            slices.push_back(slice);
        }
        std::vector<std::pair<Key, Indices>> result;
        result.reserve(sorted.size());
        for (auto& [ranks, entry] : sorted) {
            result.push_back(std::move(entry));
        }
        return result;
    }

    /// The earliest time of the slices, by the attribute that tells volumes apart if that is a time.
    std::optional<double> secondsOf(const Indices& slices) const {
        std::vector<Trait> times{Trait::triggerTime, Trait::frameReferenceTime, Trait::frameReferenceDateTime,
                                 Trait::acquisitionTime};
        for (const Trait trait : mTraits) {
            if (ruleOf(trait).role == TraitRole::time) {
                times = {trait};
            }
        }
        for (const Trait trait : times) {
            std::optional<double> earliest;
            for (const std::size_t slice : slices) {
                const auto time = decimalOf(valueOf(slice, trait));
                earliest = time && (!earliest || *time < *earliest) ? time : earliest;
            }
            if (earliest) {
                const bool isMs = trait == Trait::triggerTime || trait == Trait::frameReferenceTime;
                return isMs ? *earliest / 1000 : *earliest;
            }
        }
        return std::nullopt;
    }

    bool hasToBeComplete() const {
        return std::ranges::none_of(mTraits, [](Trait trait) { return ruleOf(trait).role == TraitRole::part; });
    }

    Finding indistinguishable() const {
        std::set<std::string> looked;
        std::string names;
        for (std::size_t index = 0; index < kTraitCount; ++index) {
            const std::string keyword = ruleOf(static_cast<Trait>(index)).keyword;
            names += looked.insert(keyword).second ? (names.empty() ? "" : ", ") + keyword : "";
        }
        Indices all;
        std::size_t count = 0;
        for (const Indices& position : mPositions) {
            if (position.size() > 1) {
                all.insert(all.end(), position.begin(), position.end());
                ++count;
            }
        }
        return findingAbout(FindingKind::duplicatePosition, true,
                            (count == 1 ? std::to_string(all.size()) + " slices lie at one position"
                                        : std::to_string(count) + " positions hold more than one slice") +
                                ", and nothing tells their volumes apart (" + names + " were looked at)",
                            namesAt(mSlices, all));
    }

    /// Names up to a few groups that lack positions, and the first position that each lacks.
    Finding incomplete(const std::vector<SliceGroup>& groups) const {
        constexpr std::size_t kShown = 4;
        std::string sentence = "The volumes of the series have different positions";
        std::size_t count = 0;
        Indices all;
        for (const SliceGroup& group : groups) {
            std::set<std::size_t> own;
            for (const std::size_t slice : group.slices) {
                own.insert(mPositionOf.at(slice));
            }
            if (own.size() == mPositions.size()) {
                continue;
            }
            all.insert(all.end(), group.slices.begin(), group.slices.end());
            if (count++ < kShown) {
                sentence += (count == 1 ? ": " : "; ") + (group.label.empty() ? "one" : group.label.substr(1)) +
                            " has " + std::to_string(own.size()) + " of " + std::to_string(mPositions.size()) +
                            " and lacks " + missingPosition(own);
            }
        }
        sentence += count > kShown ? "; and " + std::to_string(count - kShown) + " more" : "";
        return {FindingKind::incompleteSet, true, sentence + ".", namesAt(mSlices, all)};
    }

    std::string missingPosition(const std::set<std::size_t>& own) const {
        for (std::size_t index = 0; index < mPositions.size(); ++index) {
            if (!own.contains(index)) {
                const formats::Vector3& p = *mSlices[mPositions[index].front()].position;
                return shortNumber(p[0]) + "\\" + shortNumber(p[1]) + "\\" + shortNumber(p[2]);
            }
        }
        return "none";
    }

    const std::vector<SliceRecord>& mSlices;
    const Indices& mStack;
    Positions mPositions;
    std::map<std::size_t, std::size_t> mPositionOf{};
    std::map<std::size_t, Key> mKeys{};
    std::vector<Trait> mTraits{};
    std::map<std::pair<Trait, std::string>, std::string> mUsual{}; ///< values in place of nearly equal ones
    std::vector<ValueRanks> mRanks{};
    std::optional<Trait> mPartial{};
};

} // namespace

bool isNearContrast(double lower, double higher) { return higher - lower <= 0.01 * std::abs(higher); }

Positions positionsOf(const std::vector<SliceRecord>& slices, const Indices& stack) {
    const formats::Vector3 normal = slices[stack.front()].orientation->normal();
    const auto heightOf = [&](std::size_t slice) { return dot(*slices[slice].position, normal); };
    Indices sorted = stack;
    std::ranges::stable_sort(sorted, std::less(), heightOf);
    std::vector<double> heights;
    std::ranges::transform(sorted, std::back_inserter(heights), heightOf);
    const StackGaps gaps = gapsOf(heights);
    const double tolerance = std::max(gaps.tolerance, 1e-6);
    constexpr std::size_t kMostPlaces = 4000; // each slice is compared with all of its height
    Positions positions;
    std::size_t firstOfHeight = 0; // among the positions
    for (std::size_t index = 0; index < sorted.size(); ++index) {
        if (index > 0 && !gaps.isDuplicate(index - 1)) {
            firstOfHeight = positions.size();
        }
        const auto known =
            std::find_if(positions.begin() + static_cast<std::ptrdiff_t>(firstOfHeight), positions.end(),
                         [&](const Indices& position) {
                             const formats::Vector3 shift =
                                 *slices[sorted[index]].position - *slices[position.front()].position;
                             return length(shift - dot(shift, normal) * normal) <= std::max(tolerance, 0.01);
                         });
        if (known == positions.end()) {
            if (positions.size() - firstOfHeight == kMostPlaces) {
                throw formats::VolumeError("Over " + std::to_string(kMostPlaces) +
                                           " slices lie beside each other at one height.");
            }
            positions.push_back({sorted[index]});
        } else {
            known->push_back(sorted[index]);
        }
    }
    return positions;
}

SliceGroups groupsOf(const std::vector<SliceRecord>& slices, const Indices& stack) {
    return Grouping(slices, stack).find();
}

} // namespace radvex::volume
