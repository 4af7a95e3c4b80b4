#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcelem.h"

namespace radvex::deidentify {

/// How the samples of raw pixels lie (PS3.3 C.7.6.3, PS3.5 8).
struct PixelLayout {
    std::uint32_t rows = 0;
    std::uint32_t columns = 0;
    std::uint64_t frames = 1;
    unsigned samples = 1;       ///< of a pixel: 1 or 3
    unsigned bitsAllocated = 0; ///< 1, 8, 16, 32 or 64
    unsigned bitsStored = 0;    ///< from 1 to bitsAllocated
    unsigned lowBit = 0;        ///< of the stored value inside the bits allocated
    bool isSigned = false;
    bool isFloat = false;
    bool isByPlane = false;
    bool sharesColours = false; ///< of each two pixels lie four samples: grey, grey, blue, red
    std::string colourModel{};  ///< Photometric Interpretation

    /// Samples that lie in a frame.
    std::uint64_t samplesOfFrame() const { return std::uint64_t{rows} * columns * (sharesColours ? 2U : samples); }
    /// The bits of the stored value inside those allocated.
    std::uint64_t storedMask() const { return (~std::uint64_t{0} >> (64U - bitsStored)) << lowBit; }
};

/// Pixel Data, Float Pixel Data or Double Float Pixel Data of a dataset; null when it has none.
/// @throws std::runtime_error  a part of a sentence: it has several, of which others would show what one does not
DcmElement* pixelElementOf(DcmItem& dataset);

/// What the attributes say. Nothing of it is compared with the value.
/// @throws std::runtime_error  a part of a sentence: they contradict each other, or are of a kind that is not masked
PixelLayout pixelLayoutOf(DcmItem& dataset);

/// The bytes of a value that is not compressed, to be changed in place. 16-bit words are in the order of this machine.
/// @throws std::runtime_error  a part of a sentence: they cannot be read
std::span<Uint8> rawBytes(DcmElement& element);

/// The bytes of the pixels of all frames, without what may follow.
/// @throws std::runtime_error  a part of a sentence: the value does not hold all the frames that the attributes say
std::span<Uint8> bytesOfFrames(std::span<Uint8> value, const PixelLayout& layout);

} // namespace radvex::deidentify
