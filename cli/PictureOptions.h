#pragma once

#include <optional>
#include <string>
#include <utility>

#include "CLI/CLI.hpp"
#include "Value.h"

namespace radvex::cli {

/// Options of every command that renders: window, scaling, frames, overlays.
struct PictureOptions {
    std::string window{};
    std::string scaling = "minmax";
    std::string frame{};
    std::string frames{};
    bool overlays = false;

    void addTo(CLI::App* command);

    /// The scaling wish as the library takes it. @throws UsageError
    velmora::Tensor scalingTensor() const;
    /// Explicit window as (width, centre), nothing without one. @throws UsageError
    std::optional<std::pair<double, double>> explicitWindow() const;
    /// First frame (from 0) and number of frames among `available`. @throws UsageError
    std::pair<vint, vint> frameRange(vint available) const;
};

} // namespace radvex::cli
