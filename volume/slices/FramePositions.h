#pragma once

#include <vector>

#include "host/Value.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// The attributes of the dataset that framesOf reads, beside those of SliceRecord.
extern const std::vector<std::string> kFrameKeywords;

/// The slices of a file, one for each frame.
///
/// Positions come from the functional groups of an enhanced file (PS3.3 C.7.6.16), from GridFrameOffsetVector of a dose
/// (C.8.8.3.2), and from the detector and SpacingBetweenSlices of a reconstructed nuclear medicine image (C.8.4.15),
/// whose sign counts. Frames of other files have none, since the position in the dataset can only be that of one.
/// @param file      the dataset
/// @param whole     what the dataset says about all frames
/// @param promised  NumberOfFrames
/// @param frames    number of slices, which may differ
std::vector<SliceRecord> framesOf(velmora::StoreView file, const SliceRecord& whole, vint promised, vint frames);

} // namespace radvex::volume
