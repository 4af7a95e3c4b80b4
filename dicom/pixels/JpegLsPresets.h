#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// Inspects the coding parameters in JPEG-LS streams (ISO/IEC 14495-1 C.2.4.1.1), fragment by fragment. Coded data
/// never holds the two bytes that open a segment.
class JpegLsPresets {
  public:
    /// True when contexts are to be halved after another number of samples than 64, or samples exceed their bits:
    /// DCMTK's decoder then reads behind its lines and tables, and its counters end at 255.
    bool areImpossible() const { return mHasUnusualReset || mHighestSample >> std::min(mFewestBits, 16) != 0; }

    void add(std::span<const Uint8> fragment);

  private:
    using Bytes = std::span<const Uint8>;

    void scan(Bytes bytes);

    bool mHasUnusualReset = false;
    int mFewestBits = 16;
    unsigned mHighestSample = 0;
    std::vector<Uint8> mLast{}; ///< the last bytes, in which a segment may begin that goes on in the next fragment
};

} // namespace radvex
