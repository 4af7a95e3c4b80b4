#pragma once

#include <string>
#include <vector>

#include "host/Host.h"
#include "media/Rendering.h"

namespace radvex::volume {

/// Frames of a file, from 0.
struct FrameSpan {
    vint first = 0;
    vint count = 1; ///< 0: all from the first on
};
inline constexpr FrameSpan kAllFrames{0, 0};

/// Replaces a window, which may be asked for by name, by its numbers for one file, in the values that the library
/// renders: it knows nothing of the rescale of a single frame (PS3.3 C.7.6.16.2.9) or of a dose, nor of windows in
/// functional groups (C.7.6.16.2.10). Colour has no window, and nothing is replaced.
/// @param path    for the library
/// @param name    of the file, as the user knows it; empty if the sentence is to begin behind it
/// @param frames  that are rendered together; they need one window
/// @throws Error         a sentence: a preset is for HU and the file has other values, or the file has no such window
/// @throws LibraryError  the file cannot be read
media::Rendering renderingOf(velmora::Host& host, const std::string& path, const std::string& name,
                             const media::Rendering& wanted, const FrameSpan& frames);

/// A window of a file's own, on its modality values.
struct OwnWindow {
    media::Window window{};
    std::string function{}; ///< VOILUTFunction: LINEAR, LINEAR_EXACT or SIGMOID (PS3.3 C.11.2.1.2 and C.11.2.1.3)
    std::string name{};     ///< WindowCenterWidthExplanation; may be empty
};

struct OwnWindows {
    std::vector<OwnWindow> windows{};
    std::string problem{}; ///< a sentence: why the file is not drawn as it says; empty if it can be
};

/// The windows that a grey file gives to one of its frames.
/// @throws LibraryError  the file cannot be read
OwnWindows ownWindows(velmora::Host& host, const std::string& path, vint frame);

/// What should be said about the picture of a file and its window: that pixels are missing, which the renderer makes
/// up, that colour has no window, or that width and centre are likely to have changed places. Sentences; none if there
/// is nothing to say, or if the file cannot be read.
///
/// Places have changed, it seems, if the window shows less than a hundredth of the values as grey and the one with the
/// numbers exchanged a tenth of them or more. That is only looked at when the centre is larger than the width.
/// @param name  of the file; another one than the path where the library reads a copy of what is left of it
std::vector<std::string> doubtsAbout(velmora::Host& host, const std::string& path, const std::string& name,
                                     const media::Rendering& rendering);

} // namespace radvex::volume
