#include "volume/slices/FileWindow.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "files/Errors.h"
#include "formats/json/Text.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/KnownScaling.h"
#include "volume/slices/PixelMeaning.h"

namespace radvex::volume {

using media::Window;
using velmora::NodeView;
using velmora::StoreView;

namespace {

constexpr vint kMostFrames = 1 << 20; // with a rescale of their own; a file may promise more than memory holds

/// Values that become black and white, and all shades between them.
struct Limits {
    double black;
    double white;
};

// DICOM's linear function (PS3.3 C.11.2.1.2.1): the window is that of whole numbers, so that one value is 1 wide.
Limits limitsOf(const Window& window) {
    const double black = window.center - 0.5 - (window.width - 1) / 2;
    return {black, black + window.width - 1};
}
Window windowOf(const Limits& limits) {
    return {limits.white - limits.black + 1, (limits.black + limits.white) / 2 + 0.5};
}

[[noreturn]] void refuse(const std::string& name, const std::string& why) {
    throw Error(name.empty() ? why : name + ": " + why);
}

/// What a file says about its values and windows.
class WindowSource {
  public:
    WindowSource(velmora::Host& host, const std::string& path, const std::string& name)
        : mMetadata(host, path, name),
          mFound(host.call("ReadMetadata", {path,
                                            velmora::Store::ofTexts(
                                                {"RescaleSlope", "RescaleType", "Modality", "Units", "DoseUnits",
                                                 "DoseGridScaling", "WindowCenter", "WindowWidth", "VOILUTFunction",
                                                 "WindowCenterWidthExplanation", "VOILUTSequence",
                                                 "SharedFunctionalGroupsSequence", "PerFrameFunctionalGroupsSequence"}),
                                            false})),
          mPath(path),
          mName(name) {}

    bool isColour() const { return mMetadata.isColour(); }
    vint frameCount() const { return mMetadata.promisedFrames(); }

    void requireHu(const std::string& preset) const {
        const bool isOfDataset = !dataset().text("RescaleSlope").empty();
        const std::string unit = isOfDataset ? unitOf(dataset()) : mMetadata.slices(1).front().unit;
        if (unit != "HU") {
            refuse(mName, "--window " + preset + " is for values in HU, and those of this file " +
                              (unit.empty() ? "have no unit" : "are in " + unit) +
                              ". Give WIDTH,CENTER, or file for its own window.");
        }
    }

    /// The file's own window of that number, which all frames have to share.
    Window own(std::size_t number, const FrameSpan& frames) const {
        const std::vector<StoreView> places = placesOf(frames);
        const Window first = windowIn(places.front(), number);
        for (const StoreView place : places) {
            const Window window = windowIn(place, number);
            if (window.width != first.width || window.center != first.center) {
                refuse(mName, "its frames have different windows. Choose one frame with --frame, or give "
                              "WIDTH,CENTER.");
            }
        }
        return first;
    }

    /// All windows of a frame that can be drawn.
    OwnWindows all(vint frame) const {
        const StoreView place = placesOf({frame, 1}).front();
        const auto names = textsOf(place, "WindowCenterWidthExplanation");
        const auto centers = realsOf(place, "WindowCenter");
        const auto widths = realsOf(place, "WindowWidth");
        const std::size_t count = std::min(centers.size(), widths.size());
        const std::string_view function = trimmed(place.text("VOILUTFunction"));
        OwnWindows own;
        for (std::size_t number = 1; number <= count; ++number) {
            try {
                (void)windowIn(place, number);
                own.windows.push_back({.window = {.width = widths[number - 1], .center = centers[number - 1]},
                                       .function = std::string(function.empty() ? "LINEAR" : function),
                                       .name = std::string(number <= names.size() ? names[number - 1] : "")});
            } catch (const Error&) {
                own.problem = "The file has a window of a kind that is not drawn.";
            }
        }
        if (count == 0 && dataset().store("VOILUTSequence").size() > 0) {
            own.problem = "The file has a table (VOI LUT) in place of a window, which is not drawn.";
        }
        return own;
    }

    /// A window on modality values as one on the values that the library renders.
    Window forLibrary(const Window& window, const FrameSpan& frames) const {
        if (isRescaledByRenderer() && !mMetadata.isRescaledByFrame()) {
            return window;
        }
        const ModalityRule rule = ruleOf(frames);
        if (rule.isIdentity()) {
            return window; // with its last bit
        }
        const Limits limits = limitsOf(window);
        return windowOf({(limits.black - rule.intercept) / rule.slope, (limits.white - rule.intercept) / rule.slope});
    }

  private:
    StoreView dataset() const { return mFound.get<velmora::Store>().view(); }
    /// The renderer applies a rescale of the dataset and of the functional groups of all frames, not those of each.
    bool isRescaledByRenderer() const {
        const StoreView shared =
            firstItem(firstItem(dataset(), "SharedFunctionalGroupsSequence"), "PixelValueTransformationSequence");
        return mMetadata.needsLibrary() || !dataset().text("RescaleSlope").empty() ||
               !shared.text("RescaleSlope").empty();
    }

    /// The rescale that all the frames have.
    ModalityRule ruleOf(const FrameSpan& frames) const {
        if (!mMetadata.isRescaledByFrame()) {
            requireKnownScaling(mMetadata, mPath);
            return requireRising(mMetadata.rules(1).front());
        }
        if (isRescaledByRenderer() || frames.count > kMostFrames - frames.first) {
            refuse(mName, "each frame has a rescale of its own, which pictures ignore; a window cannot be drawn.");
        }
        const auto rules = mMetadata.rules(std::min(mMetadata.promisedFrames(), kMostFrames));
        const std::size_t first = std::min(static_cast<std::size_t>(frames.first), rules.size() - 1);
        const std::size_t end = std::min(first + static_cast<std::size_t>(frames.count), rules.size());
        for (std::size_t index = first; index < end; ++index) {
            if (!rules[index].hasSameRescale(rules[first])) {
                refuse(mName, "its frames have different rescales, which pictures ignore. Choose one with --frame.");
            }
        }
        return requireRising(rules[first]);
    }
    ModalityRule requireRising(const ModalityRule& rule) const {
        if (rule.slope < 0) {
            refuse(mName, "its rescale has a negative slope, which pictures ignore; a window cannot be drawn.");
        }
        return rule;
    }

    /// Where the windows of the frames stand: the dataset, or functional groups of all frames or of each.
    std::vector<StoreView> placesOf(const FrameSpan& frames) const {
        if (!dataset().text("WindowCenter").empty()) {
            return {dataset()};
        }
        const StoreView shared =
            firstItem(firstItem(dataset(), "SharedFunctionalGroupsSequence"), "FrameVOILUTSequence");
        if (!shared.text("WindowCenter").empty()) {
            return {shared};
        }
        std::vector<StoreView> places;
        vint frame = 0;
        for (const NodeView item : dataset().store("PerFrameFunctionalGroupsSequence")) {
            if (frame >= frames.first && frame - frames.first < frames.count) {
                places.push_back(firstItem(innerStore(item), "FrameVOILUTSequence"));
            }
            ++frame;
        }
        return places.empty() ? std::vector<StoreView>{dataset()} : places;
    }

    Window windowIn(StoreView place, std::size_t number) const {
        const auto centers = realsOf(place, "WindowCenter");
        const auto widths = realsOf(place, "WindowWidth");
        const std::size_t count = std::min(centers.size(), widths.size());
        if (count == 0) {
            refuse(mName, dataset().store("VOILUTSequence").size() > 0
                              ? "it has a table (VOI LUT) in place of a window, which is not drawn. Give WIDTH,CENTER."
                              : "it has no window of its own. Give WIDTH,CENTER, or leave --window out.");
        }
        if (number > count) {
            refuse(mName, "it has " + formats::counted(count, "window", "windows") +
                              " of its own, and none with number " + std::to_string(number) + ".");
        }
        return asLinear({widths[number - 1], centers[number - 1]}, trimmed(place.text("VOILUTFunction")));
    }

    Window asLinear(const Window& window, std::string_view function) const {
        if (function == "LINEAR_EXACT" && window.width > 0) { // PS3.3 C.11.2.1.3.2
            return windowOf({window.center - window.width / 2, window.center + window.width / 2});
        }
        // The renderer draws a sigmoid if the dataset asks for it, but does not look into functional groups.
        const bool isDrawn = function == "SIGMOID" && !dataset().text("WindowCenter").empty();
        if (!function.empty() && function != "LINEAR" && !isDrawn) {
            refuse(mName, "its window is of the kind " + formats::shortened(function) +
                              ", which is not drawn. Give WIDTH,CENTER for a linear one.");
        }
        if (!(window.width >= 1)) {
            refuse(mName, "its own window has a width below 1; a window is at least 1 wide.");
        }
        return window;
    }

    FileMetadata mMetadata;
    velmora::Value mFound;
    std::string mPath;
    std::string mName;
};

/// The part of the values that lies inside of a window.
double shareOf(const VelmoraNumericArray& values, const Limits& limits) {
    return withType(values.type, [&](auto sample) {
        const auto* first = static_cast<const decltype(sample)*>(values.data.get());
        const auto inside = std::count_if(first, first + values.length, [&](auto value) {
            return static_cast<double>(value) > limits.black && static_cast<double>(value) < limits.white;
        });
        return values.length == 0 ? 0.0 : static_cast<double>(inside) / values.length;
    });
}

std::string percent(double share) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2g %%", share * 100);
    return text;
}

/// Why width and centre seem to have changed places; empty if they do not.
std::string doubtAboutOrder(velmora::Host& host, const std::string& path, const std::string& name,
                            const Window& window) {
    constexpr double kAlmostNothing = 0.01;
    constexpr double kMuch = 0.1;
    if (window.center <= window.width) {
        return "";
    }
    const velmora::Value values = host.call("ReadIntermediatePixelData", {path, media::kImageFlags, 0});
    if (!values.is<velmora::NumericArray>()) {
        return "";
    }
    const VelmoraNumericArray& array = *values.get<velmora::NumericArray>().handle();
    const double given = shareOf(array, limitsOf(window));
    const double exchanged = shareOf(array, limitsOf({window.center, window.width}));
    if (given >= kAlmostNothing || exchanged < kMuch) {
        return "";
    }
    const std::string width = formats::shortestText(window.width);
    const std::string center = formats::shortestText(window.center);
    return "--window " + width + ',' + center + " has the width " + width + " and the centre " + center +
           ", and shows " + percent(given) + " of the values of " + name + " as grey; " + center + ',' + width +
           " would show " + percent(exchanged) + ". The width comes first.";
}

} // namespace

media::Rendering renderingOf(velmora::Host& host, const std::string& path, const std::string& name,
                             const media::Rendering& wanted, const FrameSpan& span) {
    if (!wanted.named && !wanted.window) {
        return wanted;
    }
    const WindowSource source(host, path, name);
    const FrameSpan frames{span.first, span.count == 0 ? source.frameCount() - span.first : span.count};
    if (source.isColour()) {
        return wanted;
    }
    if (!wanted.named) {
        media::Rendering rendering = wanted;
        rendering.given = wanted.window;
        rendering.window = source.forLibrary(*wanted.window, frames);
        return rendering;
    }
    if (wanted.named->preset) {
        source.requireHu(wanted.named->name);
    }
    media::Rendering rendering = wanted;
    rendering.named->found = wanted.named->preset ? *wanted.named->preset : source.own(wanted.named->number, frames);
    rendering.window = source.forLibrary(*rendering.named->found, frames);
    return rendering;
}

OwnWindows ownWindows(velmora::Host& host, const std::string& path, vint frame) {
    return WindowSource(host, path, path).all(frame);
}

std::vector<std::string> doubtsAbout(velmora::Host& host, const std::string& path, const std::string& name,
                                     const media::Rendering& rendering) {
    try {
        std::vector<std::string> doubts;
        const FileMetadata metadata(host, path, name);
        const bool isWhole = path == name; // what a copy of a part lacks is known
        if (isWhole && metadata.lacksPixels(path, static_cast<std::size_t>(metadata.promisedFrames()))) {
            doubts.push_back(name + " holds fewer pixels than its attributes promise; the others are made up.");
        }
        if ((rendering.window || rendering.named) && metadata.isColour()) {
            doubts.push_back(name + " is in colour, on which a window has no effect.");
        } else if (rendering.window && !rendering.named && !metadata.isDose() && !metadata.isRescaledByFrame()) {
            doubts.push_back(doubtAboutOrder(host, path, name, *rendering.window));
        }
        std::erase(doubts, "");
        return doubts;
    } catch (const velmora::LibraryError&) {
        return {}; // whoever renders it says why
    } catch (const Error&) {
        return {};
    }
}

} // namespace radvex::volume
