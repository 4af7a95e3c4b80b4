#pragma once

#include <string>
#include <vector>

#include "volume/preview/PreviewPanels.h"

namespace radvex::volume {

/// The values that a preview shows from black to white.
struct PreviewWindow {
    double lowest = 0;
    double highest = 1; ///< above `lowest`, with a finite difference
    std::string text{}; ///< "window -160 to 240 HU (centre 40, width 400)"
};

/// Soft tissue, -160 to 240, for values in HU that reach beyond both ends. Otherwise most values: 98 % of a sample of
/// the voxels, or all of them when those 98 % are equal. Colour is shown from 0 to the end of its type, or to 1 for
/// reals. NaN and infinities do not count.
/// @param unit  of the values; may be empty
PreviewWindow previewWindow(const VoxelReader& voxels, const std::vector<PreviewPanel>& panels,
                            const std::string& unit);

} // namespace radvex::volume
