#include "volume/slices/SliceTraits.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <utility>

#include "formats/json/Text.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/Diffusion.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using velmora::StoreView;

namespace {

constexpr TraitRule kRules[] = {
    {Trait::echoTime, TraitRole::contrast, "EchoTime", "echo"},
    {Trait::inversionTime, TraitRole::contrast, "InversionTime", "ti"},
    {Trait::flipAngle, TraitRole::contrast, "FlipAngle", "flip"},
    {Trait::tubeVoltage, TraitRole::contrast, "KVP", "kvp"},
    {Trait::kernel, TraitRole::contrast, "ConvolutionKernel", "kernel"},
    {Trait::diffusionBValue, TraitRole::contrast, "DiffusionBValue", "b"},
    {Trait::diffusionDirection, TraitRole::contrast, "DiffusionGradientOrientation", "dir"},
    {Trait::complexComponent, TraitRole::contrast, "ComplexImageComponent", ""},
    {Trait::imageType, TraitRole::contrast, "ImageType", "type"},
    {Trait::energyWindow, TraitRole::contrast, "EnergyWindowVector", "window"},
    {Trait::segment, TraitRole::part, "ReferencedSegmentNumber", "segment"},
    {Trait::stack, TraitRole::part, "StackID", "stack"},
    {Trait::temporalIndex, TraitRole::index, "TemporalPositionIndex", "time"},
    {Trait::temporalIdentifier, TraitRole::index, "TemporalPositionIdentifier", "time"},
    {Trait::triggerTime, TraitRole::time, "TriggerTime", "time"},
    {Trait::frameReferenceTime, TraitRole::time, "FrameReferenceTime", "time"},
    {Trait::frameReferenceDateTime, TraitRole::time, "FrameReferenceDateTime", "time"},
    {Trait::dimension1, TraitRole::index, "DimensionIndexValues", "dim"},
    {Trait::dimension2, TraitRole::index, "DimensionIndexValues", "dim"},
    {Trait::dimension3, TraitRole::index, "DimensionIndexValues", "dim"},
    {Trait::dimension4, TraitRole::index, "DimensionIndexValues", "dim"},
    {Trait::acquisitionNumber, TraitRole::part, "AcquisitionNumber", "acq"},
    {Trait::acquisitionTime, TraitRole::time, "AcquisitionTime", "time"},
    {Trait::contentTime, TraitRole::time, "ContentTime", "time"},
};
static_assert(std::size(kRules) == kTraitCount);

/// The text of a number, which the library gives as an integer, a real or a text.
std::string numberText(StoreView attributes, std::string_view keyword) {
    for (const velmora::NodeView node : attributes) {
        if (node.name() == keyword && node.type() == VType_Integer) {
            return std::to_string(node.cell().integer);
        }
        if (node.name() == keyword && node.type() == VType_Real) {
            return formats::shortestText(node.cell().real);
        }
        if (node.name() == keyword && node.isText()) {
            const auto number = decimalOf(firstValue(node.text()));
            return number ? formats::shortestText(*number) : std::string(node.text());
        }
    }
    return "";
}

/// Several numbers, with backslashes between them, as texts have them.
std::string listText(StoreView attributes, std::string_view keyword) {
    std::string text;
    for (const velmora::NodeView node : attributes.store(keyword)) {
        const bool isReal = node.type() == VType_Real;
        if (isReal || node.type() == VType_Integer) {
            text += (text.empty() ? "" : "\\") +
                    (isReal ? formats::shortestText(node.cell().real) : std::to_string(node.cell().integer));
        }
    }
    return text.empty() ? numberText(attributes, keyword) : text;
}

void setSeconds(SliceTraits& traits, Trait trait, std::optional<double> seconds) {
    traits.set(trait, seconds ? formats::shortestText(*seconds) : std::string{});
}

/// Days since 1970 of "YYYYMMDD".
std::optional<int> daysOf(std::string_view date) {
    const auto number = date.size() == 8 ? integerOf(date) : std::nullopt;
    if (!number) {
        return std::nullopt;
    }
    const std::chrono::year_month_day day{std::chrono::year(*number / 10000),
                                          std::chrono::month(static_cast<unsigned>(*number / 100 % 100)),
                                          std::chrono::day(static_cast<unsigned>(*number % 100))};
    return day.ok() ? std::optional(std::chrono::sys_days(day).time_since_epoch().count()) : std::nullopt;
}

/// Seconds since midnight, or since 1970 if the date is known.
std::optional<double> secondsOnDate(StoreView dataset, const char* date, const char* time) {
    const auto days = daysOf(dataset.text(date));
    const auto seconds = secondsOfTime(firstValue(dataset.text(time)));
    return seconds ? std::optional(days.value_or(0) * kSecondsOfDay + *seconds) : seconds;
}

void takeDimensions(SliceTraits& traits, StoreView content) {
    auto trait = static_cast<std::size_t>(Trait::dimension1);
    for (const velmora::NodeView node : content.store("DimensionIndexValues")) {
        if (node.type() == VType_Integer && trait <= static_cast<std::size_t>(Trait::dimension4)) {
            traits.set(static_cast<Trait>(trait++), std::to_string(node.cell().integer));
        }
    }
}

/// Classic MR files tell the component by the third value of ImageType, some by the fourth.
void takeComponentOfType(SliceTraits& traits, std::string_view imageType) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kComponents{{{"M", "MAGNITUDE"},
                                                                                        {"P", "PHASE"},
                                                                                        {"R", "REAL"},
                                                                                        {"I", "IMAGINARY"},
                                                                                        {"PHASE MAP", "PHASE"},
                                                                                        {"M_FFE", "MAGNITUDE"}}};
    for (const std::string_view value : splitValues(imageType)) {
        const auto* const known =
            std::ranges::find(kComponents, value, &std::pair<std::string_view, std::string_view>::first);
        if (known != kComponents.end()) {
            return traits.set(Trait::complexComponent, known->second);
        }
    }
}

void takeContent(SliceTraits& traits, StoreView content) {
    traits.set(Trait::stack, content.text("StackID"));
    traits.set(Trait::temporalIndex, numberText(content, "TemporalPositionIndex"));
    setSeconds(traits, Trait::frameReferenceDateTime, secondsOfDateTime(content.text("FrameReferenceDateTime")));
    setSeconds(traits, Trait::acquisitionTime, secondsOfDateTime(content.text("FrameAcquisitionDateTime")));
    traits.set(Trait::acquisitionNumber, numberText(content, "FrameAcquisitionNumber"));
    takeDimensions(traits, content);
}

/// @param attributes  a dataset, or a functional group
void takeDiffusion(SliceTraits& traits, StoreView attributes) {
    const auto weighting = diffusionOf(attributes);
    if (!weighting) {
        return;
    }
    traits.set(Trait::diffusionBValue, formats::shortestText(weighting->bValue));
    if (weighting->direction) {
        const auto& [x, y, z] = static_cast<const std::array<double, 3>&>(*weighting->direction);
        traits.set(Trait::diffusionDirection,
                   formats::shortestText(x) + '\\' + formats::shortestText(y) + '\\' + formats::shortestText(z));
    }
}

} // namespace

const TraitRule& ruleOf(Trait trait) { return kRules[static_cast<std::size_t>(trait)]; }

void SliceTraits::set(Trait trait, std::string_view text) {
    if (!text.empty()) {
        mTexts.resize(kTraitCount);
        mTexts[static_cast<std::size_t>(trait)] = text;
    }
}

void SliceTraits::forget(Trait trait) {
    if (!mTexts.empty()) {
        mTexts[static_cast<std::size_t>(trait)].clear();
    }
}

const std::vector<std::string> kTraitKeywords{"EchoTime",
                                              "InversionTime",
                                              "FlipAngle",
                                              "KVP",
                                              "ConvolutionKernel",
                                              "DiffusionBValue",
                                              "DiffusionDirectionality",
                                              "DiffusionGradientOrientation",
                                              "MRDiffusionSequence",
                                              "ComplexImageComponent",
                                              "ImageType",
                                              "StackID",
                                              "TemporalPositionIndex",
                                              "TemporalPositionIdentifier",
                                              "TriggerTime",
                                              "FrameReferenceTime",
                                              "FrameReferenceDateTime",
                                              "AcquisitionNumber",
                                              "AcquisitionDate",
                                              "AcquisitionTime",
                                              "AcquisitionDateTime",
                                              "ContentDate",
                                              "ContentTime"};

void takeTraits(SliceTraits& traits, StoreView dataset) {
    for (const Trait trait :
         {Trait::echoTime, Trait::inversionTime, Trait::flipAngle, Trait::tubeVoltage, Trait::temporalIndex,
          Trait::temporalIdentifier, Trait::triggerTime, Trait::frameReferenceTime, Trait::acquisitionNumber}) {
        traits.set(trait, numberText(dataset, ruleOf(trait).keyword));
    }
    takeDiffusion(traits, dataset);
    takeComponentOfType(traits, dataset.text("ImageType"));
    for (const Trait trait : {Trait::complexComponent, Trait::imageType, Trait::kernel, Trait::stack}) {
        traits.set(trait, dataset.text(ruleOf(trait).keyword));
    }
    setSeconds(traits, Trait::frameReferenceDateTime, secondsOfDateTime(dataset.text("FrameReferenceDateTime")));
    setSeconds(traits, Trait::acquisitionTime, secondsOnDate(dataset, "AcquisitionDate", "AcquisitionTime"));
    setSeconds(traits, Trait::acquisitionTime, secondsOfDateTime(dataset.text("AcquisitionDateTime")));
    setSeconds(traits, Trait::contentTime, secondsOnDate(dataset, "ContentDate", "ContentTime"));
}

void takeGroupTraits(SliceTraits& traits, StoreView group) {
    traits.set(Trait::echoTime, numberText(firstItem(group, "MREchoSequence"), "EffectiveEchoTime"));
    traits.set(Trait::inversionTime, listText(firstItem(group, "MRModifierSequence"), "InversionTimes"));
    takeDiffusion(traits, group);
    traits.set(Trait::segment,
               numberText(firstItem(group, "SegmentIdentificationSequence"), "ReferencedSegmentNumber"));
    traits.set(Trait::flipAngle, numberText(firstItem(group, "MRTimingAndRelatedParametersSequence"), "FlipAngle"));
    for (const char* const sequence :
         {"MRImageFrameTypeSequence", "CTImageFrameTypeSequence", "PETFrameTypeSequence"}) {
        const StoreView type = firstItem(group, sequence);
        traits.set(Trait::imageType, type.text("FrameType"));
        traits.set(Trait::complexComponent, type.text("ComplexImageComponent"));
    }
    traits.set(Trait::triggerTime,
               numberText(firstItem(group, "CardiacSynchronizationSequence"), "NominalCardiacTriggerDelayTime"));
    traits.set(Trait::temporalIndex,
               numberText(firstItem(group, "TemporalPositionSequence"), "TemporalPositionTimeOffset"));
    takeContent(traits, firstItem(group, "FrameContentSequence"));
}

std::optional<DiffusionWeighting> weightingOf(const SliceTraits& traits) {
    const auto bValue = decimalOf(traits[Trait::diffusionBValue]);
    return bValue ? std::optional(DiffusionWeighting{*bValue, positionOf(traits[Trait::diffusionDirection])})
                  : std::nullopt;
}

std::optional<double> secondsOfTime(std::string_view text) {
    text = trimmed(text); // "HHMMSS.FFFFFF", of which anything from the right may be missing
    const auto part = [&](std::size_t first) {
        return first >= text.size() ? std::optional(0.0)
                                    : decimalOf(text.substr(first, first == 4 ? std::string_view::npos : 2));
    };
    const auto hours = part(0);
    const auto minutes = part(2);
    const auto seconds = part(4);
    if (text.size() < 2 || !hours || !minutes || !seconds || *hours < 0 || *minutes < 0 || *seconds < 0) {
        return std::nullopt;
    }
    return *hours * 3600 + *minutes * 60 + *seconds;
}

std::optional<double> secondsOfDateTime(std::string_view text) {
    text = text.substr(0, text.find_first_of("+-")); // all of one file have the same offset from UTC
    const auto days = daysOf(text.substr(0, 8));
    const auto seconds = text.size() > 8 ? secondsOfTime(text.substr(8)) : std::optional(0.0);
    return days && seconds ? std::optional(*days * kSecondsOfDay + *seconds) : std::nullopt;
}

} // namespace radvex::volume
