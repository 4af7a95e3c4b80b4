#pragma once

#include <cstdint>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "deidentify/pixels/MaskedArea.h"

namespace radvex::deidentify {

/// The groups of overlay planes that a dataset has any attribute of: 6000, 6002, ... 60FE.
std::vector<Uint16> overlayGroups(DcmItem& dataset);

/// Blanks overlay planes with bits of their own (60xx,3000) where the image is blanked. What of a plane lies outside of
/// the image is blanked too: it is not shown with the image, and no rule can reach it.
/// @throws std::runtime_error  a part of a sentence: a plane has no size, or holds less than that
void blankOverlayPlanes(DcmItem& dataset, const MaskedArea& area);

} // namespace radvex::deidentify
