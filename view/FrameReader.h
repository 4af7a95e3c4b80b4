#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "host/Host.h"
#include "view/Wire.h"
#include "volume/slices/SliceFile.h"

namespace radvex::view {

/// Gives the frames of files to the page. Keeps the last file, because its other frames are likely to be wanted next.
/// A mosaic has its tiles for frames, as its slices in a volume have.
class FrameReader {
  public:
    explicit FrameReader(velmora::Host& host) : mHost(host) {}

    // Frames are counted from 0. What cannot be read is an Error with a sentence that names the file.

    /// The samples of a frame, row by row: modality values, or interleaved RGB. What they are: "type" (NumPy's name),
    /// "shape", "unit", "windows" (pairs of centre and width, on these values), "windowNames", "function"
    /// (VOILUTFunction), "windowProblem" (a sentence, or empty), "photometricInterpretation".
    Message values(const std::string& file, std::size_t frame);
    /// All overlay planes, a byte of 0 or 1 for each pixel, plane after plane: "planes" with "plane", "rows" and
    /// "columns".
    Message overlays(const std::string& file, std::size_t frame) const;
    /// A PNG of at most 160 x 160 pixels, by the file's own window, or from its smallest to its largest value.
    Message preview(const std::string& file, std::size_t frame) const;

    /// Gives the memory of the last file back. To be called when it may have changed, and before another one.
    void forget();

  private:
    const volume::SliceFile& read(const std::string& file);

    velmora::Host& mHost;
    std::string mPath{}; ///< of the file that is kept; empty for none
    volume::SliceFile mSlices{};
    std::unique_ptr<std::byte[]> mSamples{}; ///< of the slices
};

} // namespace radvex::view
