#pragma once

#include <optional>
#include <string>
#include <utility>

#include "CommandLine.h"
#include "Value.h"

namespace radvex::cli {

/// The image flags of every call: what the library's own callers use.
inline constexpr vint kImageFlags = 1;

/// Options of every command that renders: window, scaling, overlays; and frames where there is one file.
struct PictureOptions {
    std::string window{};
    std::string scaling = "minmax";
    std::string frame{};
    std::string frames{};
    bool commonWindow = false; ///< one window for all pictures of a series, from its smallest to its largest value
    bool overlays = false;

    /// All of them, for one file.
    void addTo(const CommandLine& command);
    /// Window and scaling, the common window too, for a series of files.
    void addSeriesWindowTo(const CommandLine& command);
    void addOverlaysTo(const CommandLine& command);

    /// The scaling wish as the library takes it. @throws UsageError
    velmora::Tensor scalingTensor() const;
    /// Explicit window as (width, centre), nothing without one. @throws UsageError
    std::optional<std::pair<double, double>> explicitWindow() const;
    /// First frame (from 0) and number of frames among `available`. @throws UsageError
    std::pair<vint, vint> frameRange(vint available) const;

  private:
    void addWindowTo(const CommandLine& command);
};

} // namespace radvex::cli
