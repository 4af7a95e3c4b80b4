#pragma once

#include <cstdint>
#include <optional>

#include "bridge/VArgumentManager.h"

namespace radvex {

/// How the pixels of a file are opened as an image.
struct ImageOpenOptions {
    std::uint32_t flags = 1;      ///< DCMTK's image configuration flags (CIF_...)
    std::uint32_t frameStart = 0; ///< first frame, from 0
    std::uint32_t frameCount = 0; ///< number of frames, 0 for all
};

/// How pixel values become the grey values of an image.
enum ScalingMode : int {
    kNoWindow = 0,            ///< DCMTK's own default
    kTrimmedMinMaxWindow = 1, ///< from minimum to maximum, without the extreme values
    kMinMaxWindow = 2,        ///< from minimum to maximum
    kCommonWindow = 3,        ///< the window that a directory read computes for a series
    kExplicitWindow = 4       ///< windowWidth and windowCenter
};

struct ImageReadOptions : ImageOpenOptions {
    int scaling = kMinMaxWindow;
    bool showOverlays = false; ///< burns overlays in
    int outputFrame = 0;       ///< index of the frame that becomes a slice of a volume
    std::optional<double> windowWidth{};
    std::optional<double> windowCenter{};
};

/// Reads the argument for scaling: a real tensor of two numbers. The first one tells the mode. From 1 on it is a window
/// width, and the second number is the centre. Around 0 it means minimum to maximum, around -1 the same without the
/// extreme values, around -2 the common window of a series, anything else no window.
/// @return the scaling mode; an explicit window is stored in `options`
/// @throws GantryError  CreateFromNullError; TensorTypeError for another type; InvalidPixelScaling for another shape
int getScale(const GTU::VArgumentManager& manager, unsigned int index, ImageReadOptions& options);

} // namespace radvex
