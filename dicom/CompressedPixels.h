#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// True when compressed pixels, those of nested items too, would take far more memory to decode than an honest file of
/// their length can need: 256 MiB more than a thousand times what they hold, or than their attributes promise when it
/// is a JPEG frame that has a size of its own. DCMTK reserves either before it decodes the first pixel.
bool unpacksToTooMuch(DcmDataset& dataset);

} // namespace radvex
