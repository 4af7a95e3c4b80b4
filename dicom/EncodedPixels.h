#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex {

/// True when Pixel Data holds the pixels of every frame that the attributes tell of, and there is one. DCMTK's encoders
/// multiply in 32 bits, and the number of frames may be the caller's.
bool holdsAllPixels(DcmDataset& dataset);

/// True when pixels that were just compressed can be read back, as far as that is in doubt: pixels that came out no
/// smaller than they were are decoded once, since encoders have been seen to cut them short without a word.
bool canBeDecoded(DcmDataset& dataset, E_TransferSyntax syntax, const DcmRepresentationParameter* parameter);

} // namespace radvex
