#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "host/Value.h"
#include "volume/slices/Diffusion.h"

namespace radvex::volume {

/// What tells slices at one position apart. The order is that in which volumes are told apart and named.
enum class Trait : std::size_t {
    echoTime,
    inversionTime,
    flipAngle,
    tubeVoltage,
    kernel,
    diffusionBValue,
    diffusionDirection,
    complexComponent,
    imageType,
    energyWindow,
    segment,
    stack,
    temporalIndex,
    temporalIdentifier,
    triggerTime,
    frameReferenceTime,
    frameReferenceDateTime,
    dimension1, ///< values of DimensionIndexValues, one after the other
    dimension2,
    dimension3,
    dimension4,
    acquisitionNumber,
    acquisitionTime,
    contentTime,
    count,
};

inline constexpr std::size_t kTraitCount = static_cast<std::size_t>(Trait::count);

/// What a trait says about the volumes that it tells apart.
enum class TraitRole {
    contrast, ///< another kind of picture of the same positions: every volume has them all
    part,     ///< another stack, which may have other positions
    index,    ///< an index of volumes that have the same positions, such as a point in time
    time,     ///< a time, which may differ from slice to slice of one volume
};

struct TraitRule {
    Trait trait;
    TraitRole role;
    const char* keyword; ///< of the DICOM attribute
    const char* label;   ///< in the names of volumes: "echo" in "-echo2"
};

inline constexpr double kSecondsOfDay = 86400;

/// In the order of the traits.
const TraitRule& ruleOf(Trait trait);

/// The traits of one slice: a text for each, empty if the file does not have the attribute. Times are in seconds, or
/// milliseconds where the attribute is; the rest is as in the file.
class SliceTraits {
  public:
    const std::string& operator[](Trait trait) const {
        static const std::string kNone;
        const auto index = static_cast<std::size_t>(trait);
        return index < mTexts.size() ? mTexts[index] : kNone;
    }
    /// Empty texts change nothing.
    void set(Trait trait, std::string_view text);
    /// As if the file did not have the attribute.
    void forget(Trait trait);

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.mTexts);
    }

  private:
    std::vector<std::string> mTexts{}; ///< empty as long as no trait is set
};

/// The keywords of the attributes that a dataset has for traits.
extern const std::vector<std::string> kTraitKeywords;

/// Takes what a dataset says about all its frames.
void takeTraits(SliceTraits& traits, velmora::StoreView dataset);
/// Takes what a functional group of an enhanced file says (PS3.3 C.7.6.16).
void takeGroupTraits(SliceTraits& traits, velmora::StoreView group);

/// The diffusion weighting that the traits tell.
std::optional<DiffusionWeighting> weightingOf(const SliceTraits& traits);

/// Seconds since midnight of a time, or since a day long ago of a date with a time (PS3.5 6.2, TM and DT). Nothing for
/// another text.
std::optional<double> secondsOfTime(std::string_view text);
std::optional<double> secondsOfDateTime(std::string_view text);

} // namespace radvex::volume
