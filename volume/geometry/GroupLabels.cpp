#include "volume/geometry/GroupLabels.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>

#include "formats/json/Text.h"
#include "volume/slices/AttributeValues.h"

namespace radvex::volume {

namespace {

std::string lowerCase(std::string_view text) {
    std::string lower;
    for (const char letter : text) {
        lower += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return lower;
}

/// "magnitude" for M, or the first value of ImageType that no other has.
std::string typeLabel(const std::string& value, const std::set<std::string>& others) {
    static const std::map<std::string, std::string, std::less<>> kComponents{
        {"M", "magnitude"},     {"P", "phase"},         {"R", "real"},     {"I", "imaginary"},
        {"M_FFE", "magnitude"}, {"PHASE MAP", "phase"}, {"MIXED", "mixed"}};
    for (const std::string_view part : splitValues(value)) {
        const bool isOwn = std::ranges::none_of(others, [&](const std::string& other) {
            const auto parts = splitValues(other);
            return other != value && std::ranges::find(parts, part) != parts.end();
        });
        if (isOwn && !part.empty()) {
            const auto known = kComponents.find(part);
            return known == kComponents.end() ? lowerCase(formats::fileNamePart(part, 16)) : known->second;
        }
    }
    return "type" + std::to_string(std::distance(others.begin(), others.find(value)) + 1);
}

/// A direction that is absent is a mean or none, and has no number.
bool isNumbered(Trait trait, const std::string& value) { return trait != Trait::diffusionDirection || !value.empty(); }

/// Values in their order, from 1.
ValueRanks numbersOf(Trait trait, const std::set<std::string>& values, const ValueRanks& ranks) {
    std::vector<std::string> sorted(values.begin(), values.end());
    std::ranges::sort(sorted, std::less(), [&](const std::string& value) { return ranks.at(value); });
    ValueRanks numbers;
    std::size_t number = 0;
    for (const std::string& value : sorted) {
        numbers.emplace(value, isNumbered(trait, value) ? ++number : number);
    }
    return numbers;
}

std::string labelOf(Trait trait, const std::string& value, const std::set<std::string>& others, std::size_t number) {
    const TraitRule& rule = ruleOf(trait);
    if (trait == Trait::complexComponent || trait == Trait::imageType) {
        return typeLabel(value, others);
    }
    const bool isValue = trait == Trait::diffusionBValue || rule.role == TraitRole::part;
    std::string text = value;
    std::ranges::replace(text, '.', 'p'); // 100.5 is not 1005
    const std::string name = isValue ? formats::fileNamePart(text, 16) : "";
    return rule.label + (name.empty() ? std::to_string(number) : name);
}

/// Values may differ in what file names cannot hold.
void makeUnique(std::vector<SliceGroup>& groups) {
    std::set<std::string> known;
    for (SliceGroup& group : groups) {
        const std::string label = group.label;
        for (std::size_t number = 2; !known.insert(lowerCase(group.label)).second; ++number) {
            group.label = label + "-" + std::to_string(number);
        }
    }
}

} // namespace

void labelGroups(std::vector<SliceGroup>& groups, const std::vector<Trait>& traits,
                 const std::vector<ValueRanks>& ranks) {
    for (std::size_t index = 0; index < traits.size(); ++index) {
        const Trait trait = traits[index];
        std::map<std::string, std::set<std::string>> valuesOfLabel;
        for (const SliceGroup& group : groups) {
            valuesOfLabel[group.label].insert(group.traits[index].second);
        }
        std::map<std::string, ValueRanks> numbersOfLabel;
        for (const auto& [label, values] : valuesOfLabel) {
            numbersOfLabel[label] = numbersOf(trait, values, ranks[index]);
        }
        for (SliceGroup& group : groups) {
            const auto& values = valuesOfLabel[group.label];
            const std::string& value = group.traits[index].second;
            if (values.size() > 1 && isNumbered(trait, value)) {
                group.label += "-" + labelOf(trait, value, values, numbersOfLabel[group.label].at(value));
            }
        }
    }
    makeUnique(groups);
}

} // namespace radvex::volume
