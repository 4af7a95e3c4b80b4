#pragma once

#include "formats/pictures/Picture.h"

namespace radvex::view {

/// The picture with at most so many pixels along its longer side, each the mean of those that it stands for.
/// @param side  at least 1
formats::Picture thumbnailOf(const formats::Picture& picture, int side);

} // namespace radvex::view
