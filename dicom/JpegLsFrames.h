#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Gives each compressed JPEG-LS frame that lacks it the marker that ends an image (ISO/IEC 14495-1, EOI), in memory:
/// at the end of a complete scan DCMTK's decoder looks at the next byte, which would lie behind the frame. Pixels of
/// nested items too.
void endJpegLsFrames(DcmDataset& dataset);

} // namespace radvex
