#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// Gives each compressed JPEG-LS frame a marker that ends an image (ISO/IEC 14495-1, EOI) and two bytes more, in
/// memory: at the end of a complete scan DCMTK's decoder looks at the next bytes, which would lie behind the frame.
/// Where frames have several fragments the offset table is left out, which may say anything. Pixels of nested items
/// too.
void endJpegLsFrames(DcmDataset& dataset);

} // namespace radvex
