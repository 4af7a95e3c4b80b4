#pragma once

#include <optional>

#include "host/Value.h"

namespace radvex::media {

/// The image flags of every call: what the library's own callers use.
inline constexpr vint kImageFlags = 1;

/// A window on the rescaled values, in their unit.
struct Window {
    double width = 1; ///< at least 1
    double center = 0;
};

/// How values become the grey of pictures.
struct Rendering {
    enum class Scaling {
        minMax,       ///< from the smallest to the largest value of a picture
        trimmed,      ///< the same without extreme values
        none,         ///< what DCMTK does by itself
        commonWindow, ///< one window for all pictures of a series, from its smallest to its largest value
    };

    Scaling scaling = Scaling::minMax;
    std::optional<Window> window{}; ///< counts in place of the scaling
    bool hasOverlays = false;       ///< burn overlay planes into the pictures

    /// Window and scaling as the library takes them.
    velmora::Tensor scalingTensor() const;
};

} // namespace radvex::media
