#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcitem.h"

namespace radvex {

/// What an item says of its pixels (PS3.3 C.7.6.3). Each question is asked anew, since decoding changes the answers.
class ImagePixelAttributes {
  public:
    explicit ImagePixelAttributes(DcmItem& item) : mItem(item) {}

    /// An attribute of 16 bits.
    std::optional<Uint16> number(const DcmTagKey& key) const;
    Uint16 numberOr(Uint16 otherwise, const DcmTagKey& key) const;

    // For what DCMTK may make of the pixels: what is missing counts as 1, bits as 8. In double: the numbers are only
    // compared.

    double frames() const;
    double bitsOfSample() const;
    /// Photometric Interpretation as DCMTK understands it, letters and digits only; empty where a pixel has one sample.
    std::string colourModel() const;
    /// As many as DCMTK takes a pixel of that model to have, at least, whatever the attribute says.
    double samplesOfPixel() const;
    double samplesOfFrame() const;
    /// Bytes that pixels of these attributes take.
    double declaredBytes() const;
    /// Samples of all frames.
    double samples() const { return samplesOfFrame() * frames(); }
    /// True when two pixels share their colour, so that uncompressed ones take two samples each (PS3.3 C.7.6.3.1.2).
    bool isSubsampled() const;
    /// Of the value of Pixel Data.
    double storedBytes() const;

    // For encoders, which need them all: what is missing counts as 0, but there is one frame at least. The factors have
    // 16 bits, the frames 31: nothing overflows where a frame is at most 2^31 pixels.

    std::uint64_t bytesOfWholeFrame() const;
    std::uint64_t bytesOfWholeFrames() const;

  private:
    DcmItem& mItem;
};

} // namespace radvex
