#pragma once

#include <optional>
#include <string>
#include <utility>

#include "cli/arguments/CommandLine.h"
#include "formats/json/LosslessJson.h"
#include "host/Host.h"
#include "media/Rendering.h"

namespace radvex::cli {

/// Options of every command that renders: window, scaling and overlays; for a single file also frames.
struct PictureOptions {
    std::string window{};
    std::string scaling = "minmax";
    std::string frame{};
    std::string frames{};
    bool commonWindow = false; ///< one window for all pictures of a series, from its smallest to its largest value
    bool overlays = false;

    /// Adds all options for a single file.
    void addTo(const CommandLine& command);
    /// Adds window, scaling and common window, for a series of files.
    void addSeriesWindowTo(const CommandLine& command);
    void addOverlaysTo(const CommandLine& command);

    /// @throws UsageError
    media::Rendering rendering() const;
    /// Whether an option chooses how values become grey.
    bool choosesGrey() const { return !window.empty() || commonWindow || scaling != "minmax"; }
    /// Whether --frame or --frames was given.
    bool choosesFrames() const { return !frame.empty() || !frames.empty(); }
    /// The window of the pictures as JSON: width and center, or the name of the scaling.
    /// @param used  what they were rendered with
    formats::Json describeWindow(const media::Rendering& used) const;
    /// First frame (from 0) and number of frames among `available`. @throws UsageError
    std::pair<vint, vint> frameRange(vint available) const;

  private:
    void addWindowTo(const CommandLine& command);
    std::optional<media::Window> explicitWindow() const;
};

/// Says on standard error what volume::doubtsAbout finds. @return whether there was anything
bool warnAboutWindow(velmora::Host& host, const std::string& path, const std::string& name,
                     const media::Rendering& rendering);

} // namespace radvex::cli
