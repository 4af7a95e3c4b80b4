#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcitem.h"

namespace radvex {

/// What the attributes of an item say of its pixels (PS3.3 C.7.6.3). Nothing is kept, since decoding changes
/// attributes.
class ImagePixelAttributes {
  public:
    explicit ImagePixelAttributes(DcmItem& item) : mItem(item) {}

    /// An attribute of 16 bits; nothing when it is missing.
    std::optional<Uint16> number(const DcmTagKey& key) const;
    Uint16 numberOr(Uint16 otherwise, const DcmTagKey& key) const;

    // What DCMTK may make of the pixels. A missing attribute counts as 1, BitsAllocated as 8. In double, since the
    // numbers are only compared.

    double frames() const;
    double bitsOfSample() const;
    /// Photometric Interpretation as DCMTK reads it: letters and digits only. Empty for models of one sample.
    std::string colourModel() const;
    /// SamplesPerPixel, but not fewer than DCMTK expects for the colour model.
    double samplesOfPixel() const;
    double samplesOfFrame() const;
    /// Bytes of the pixels that the attributes promise.
    double declaredBytes() const;
    /// Samples of all frames.
    double samples() const { return samplesOfFrame() * frames(); }
    /// True when two pixels share their colour, so that uncompressed ones take two samples each (PS3.3 C.7.6.3.1.2).
    bool isSubsampled() const;
    /// Bytes of the value of Pixel Data; 0 when there is none.
    double storedBytes() const;

    // For encoders, which need all attributes: a missing one counts as 0, but there is at least one frame. The factors
    // have 16 bits, the number of frames 31. Nothing overflows when a frame has at most 2^31 pixels.

    std::uint64_t bytesOfWholeFrame() const;
    std::uint64_t bytesOfWholeFrames() const;

  private:
    DcmItem& mItem;
};

/// A shape may promise this many bytes more than its value holds. So a file of a few bytes cannot claim the memory of
/// the whole machine.
inline constexpr double kMaxMissingBytes = 256.0 * 1024 * 1024;

/// Bytes of the frames that a value does not hold. Each frame counts at least what it costs as an array of its own.
/// @param framesHeld  may have a fraction
inline double missingBytesOfFrames(double frames, double framesHeld, double frameBytes) {
    constexpr double kArrayCost = 1024.0;
    return (frames - framesHeld) * std::max(kArrayCost, frameBytes);
}

/// True when the attributes promise over 256 MiB more than Pixel Data holds. A missing sample counts at least one byte,
/// which it takes in memory.
bool promisesTooManyPixels(DcmItem& dataset);

} // namespace radvex
