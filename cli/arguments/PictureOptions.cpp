#include "cli/arguments/PictureOptions.h"

#include <cmath>

#include "cli/Session.h"
#include "cli/arguments/Words.h"
#include "files/Errors.h"
#include "volume/slices/FileWindow.h"

namespace radvex::cli {

namespace {

/// The texts before and behind the first separator.
std::optional<std::pair<std::string, std::string>> splitAt(const std::string& text, char separator) {
    const std::size_t index = text.find(separator);
    return index == std::string::npos ? std::nullopt
                                      : std::optional(std::pair(text.substr(0, index), text.substr(index + 1)));
}

} // namespace

void PictureOptions::addTo(const CommandLine& command) {
    addWindowTo(command);
    command.addOption("--frame", frame, "Only this frame, counted from 1");
    command.addOption("--frames", frames, "Only frames A:B, counted from 1, both ends included");
    addOverlaysTo(command);
}

void PictureOptions::addSeriesWindowTo(const CommandLine& command) {
    addWindowTo(command);
    command.addFlag("--common-window", commonWindow,
                    "One window for all pictures of a series, from its smallest to its largest value");
}

void PictureOptions::addOverlaysTo(const CommandLine& command) {
    command.addFlag("--overlays", overlays, "Burn overlay planes into the picture");
}

void PictureOptions::addWindowTo(const CommandLine& command) {
    command.addOption("--window", window,
                      "Window as WIDTH,CENTER in the unit of the rescaled values; for HU also lung (1500,-600), bone "
                      "(1500,300), brain (80,40), abdomen (400,60) or mediastinum (400,40); file for the file's own, "
                      "file:2 for its second one");
    command.suggest("--window", media::windowNames());
    command.addChoice("--scaling", scaling, {"minmax", "trimmed", "none"},
                      "Automatic window: minmax, trimmed (without extreme values) or none");
}

std::optional<media::Window> PictureOptions::explicitWindow() const {
    if (window.empty()) {
        return std::nullopt;
    }
    const auto parts = splitAt(window, ',');
    const auto width = parts ? parseNumber<double>(parts->first) : std::nullopt;
    const auto center = parts ? parseNumber<double>(parts->second) : std::nullopt;
    if (!width || !center || !std::isfinite(*width) || !std::isfinite(*center)) {
        throw UsageError("--window '" + window +
                         "' is not a window: WIDTH,CENTER is expected, such as 400,40; or lung, bone, brain, abdomen, "
                         "mediastinum, file or file:2.");
    }
    if (*width < 1.0) {
        throw UsageError("--window '" + window + "' has a width below 1; a window is at least 1 wide." +
                         (*center >= 1.0 ? " The width comes first: " + parts->second + ',' + parts->first + "?" : ""));
    }
    return media::Window{*width, *center};
}

media::Rendering PictureOptions::rendering() const {
    using Scaling = media::Rendering::Scaling;
    const auto named = media::windowNamed(window);
    media::Rendering rendering{
        .window = named ? std::nullopt : explicitWindow(), .named = named, .hasOverlays = overlays};
    if (!window.empty() && commonWindow) {
        throw UsageError("--window and --common-window exclude each other.");
    }
    rendering.scaling = commonWindow           ? Scaling::commonWindow
                        : scaling == "trimmed" ? Scaling::trimmed
                        : scaling == "none"    ? Scaling::none
                                               : Scaling::minMax;
    return rendering;
}

formats::Json PictureOptions::describeWindow(const media::Rendering& used) const {
    if (used.window) {
        const bool isNamed = used.named && used.named->found;
        const media::Window& own = isNamed ? *used.named->found : used.given ? *used.given : *used.window;
        return {{"method", isNamed ? used.named->name : "explicit"}, {"width", own.width}, {"center", own.center}};
    }
    return {{"method", scaling}};
}

std::pair<vint, vint> PictureOptions::frameRange(vint available) const {
    if (frame.empty() && frames.empty()) {
        return {0, available};
    }
    if (!frame.empty() && !frames.empty()) {
        throw UsageError("--frame and --frames exclude each other.");
    }
    const std::string& text = frame.empty() ? frames : frame;
    const auto parts = frame.empty() ? splitAt(frames, ':') : std::optional(std::pair(frame, frame));
    const auto first = parts ? parseNumber<vint>(parts->first) : std::nullopt;
    const auto last = parts ? parseNumber<vint>(parts->second) : std::nullopt;
    if (!first || !last) {
        throw UsageError("'" + text + "' names no frames: a number is expected after --frame, A:B after --frames.");
    }
    if (*first < 1 || *last < *first || *last > available) {
        throw UsageError("'" + text + "' lies outside the file: it has frames 1 to " + std::to_string(available) + ".");
    }
    return {*first - 1, *last - *first + 1};
}

bool warnAboutWindow(velmora::Host& host, const std::string& path, const std::string& name,
                     const media::Rendering& rendering) {
    const auto doubts = volume::doubtsAbout(host, path, name, rendering);
    for (const std::string& doubt : doubts) {
        printError("warning: " + doubt);
    }
    return !doubts.empty();
}

} // namespace radvex::cli
