#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/oftypes.h"

namespace radvex {

/// Looks at the coding parameters that JPEG-LS frames bring along (ISO/IEC 14495-1 C.2.4.1.1), in fragments that follow
/// each other. In coded data the two bytes do not occur that open a segment.
class JpegLsPresets {
  public:
    /// DCMTK's decoder cannot do what they ask for: it reads behind its lines and tables, and counts up to 255 only,
    /// when contexts are halved after another number of samples than 64, or samples exceed their bits.
    bool areImpossible() const { return mHasUnusualReset || mHighestSample >> std::min(mFewestBits, 16) != 0; }

    void add(std::span<const Uint8> fragment);

  private:
    using Bytes = std::span<const Uint8>;

    void scan(Bytes bytes);

    bool mHasUnusualReset = false;
    int mFewestBits = 16;
    unsigned mHighestSample = 0;
    std::vector<Uint8> mLast{}; ///< bytes in which a segment may begin that goes on in the next fragment
};

} // namespace radvex
