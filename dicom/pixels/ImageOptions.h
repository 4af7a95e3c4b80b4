#pragma once

#include <cstdint>
#include <optional>

#include "bridge/VArgumentManager.h"

namespace radvex {

/// What opening a file's pixels as a picture needs.
struct ImageOpenOptions {
    std::uint32_t flags = 1;      ///< DCMTK's image configuration flags (CIF_...)
    std::uint32_t frameStart = 0; ///< first frame, from 0
    std::uint32_t frameCount = 0; ///< number of frames, 0 for all
};

/// How pixel values become a picture's grey values.
enum ScalingMode : int {
    kNoWindow = 0,            ///< what DCMTK does by itself
    kTrimmedMinMaxWindow = 1, ///< from minimum to maximum, leaving out the extreme values
    kMinMaxWindow = 2,        ///< from minimum to maximum
    kCommonWindow = 3,        ///< the window that a directory read computes for a series
    kExplicitWindow = 4       ///< windowWidth and windowCenter
};

struct ImageReadOptions : ImageOpenOptions {
    int scaling = kMinMaxWindow;
    bool showOverlays = false; ///< burn overlays in
    int outputFrame = 0;       ///< frame of a file that becomes a slice of a volume
    std::optional<double> windowWidth{};
    std::optional<double> windowCenter{};
};

/// Reads the scaling wish: a real tensor of two numbers. A first number of 1 or more is a window width, the second its
/// centre; around 0 it means minimum to maximum, around -1 the same without extremes, around -2 the common window of a
/// series, anything else no window.
/// @return the scaling mode; an explicit window is put into `options`
/// @throws GantryError  CreateFromNullError; TensorTypeError for another type; InvalidPixelScaling for another shape
int getScale(const GTU::VArgumentManager& manager, unsigned int index, ImageReadOptions& options);

} // namespace radvex
