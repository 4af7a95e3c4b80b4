#include "python/Pictures.h"

#include <array>
#include <cmath>

#include "files/Errors.h"

namespace radvex::python {

using formats::Json;
using media::Rendering;

namespace {

constexpr const char* kWindowHelp = "a window is (width, centre), such as (400, 40), or one of lung, bone, brain, "
                                    "abdomen, mediastinum, file and file:2";

bool isGiven(const Json& json, const char* key) { return json.contains(key) && !json.at(key).is_null(); }

void setWindow(Rendering& rendering, const Json& window) {
    if (window.is_string()) {
        rendering.named = media::windowNamed(window.get<std::string>());
        if (!rendering.named) {
            throw UsageError("'" + window.get<std::string>() + "' names no window: " + kWindowHelp + ".");
        }
        return;
    }
    if (!window.is_array() || window.size() != 2 || !window[0].is_number() || !window[1].is_number()) {
        throw UsageError(formats::dumpJson(window) + " is no window: " + kWindowHelp + ".");
    }
    const media::Window numbers{window[0].get<double>(), window[1].get<double>()};
    if (numbers.width < 1) {
        throw UsageError("The window " + formats::dumpJson(window) +
                         " has a width below 1; the width comes first, and is at least 1.");
    }
    rendering.window = numbers;
}

Rendering::Scaling scalingFrom(const std::string& name) {
    using Scaling = Rendering::Scaling;
    constexpr std::array<std::pair<const char*, Scaling>, 4> kNames{{{"minmax", Scaling::minMax},
                                                                     {"trimmed", Scaling::trimmed},
                                                                     {"none", Scaling::none},
                                                                     {"common", Scaling::commonWindow}}};
    for (const auto& [known, scaling] : kNames) {
        if (name == known) {
            return scaling;
        }
    }
    throw UsageError("'" + name + "' is no scaling: minmax, trimmed and none are, and common for series.");
}

} // namespace

Rendering renderingFrom(const Json& json) {
    Rendering rendering;
    if (isGiven(json, "window")) {
        setWindow(rendering, json.at("window"));
    }
    if (isGiven(json, "scaling")) {
        rendering.scaling = scalingFrom(json.at("scaling").get<std::string>());
        if (rendering.scaling == Rendering::Scaling::commonWindow && (rendering.window || rendering.named)) {
            throw UsageError("A window and the scaling 'common' exclude each other.");
        }
    }
    rendering.hasOverlays = json.value("overlays", false);
    return rendering;
}

} // namespace radvex::python
