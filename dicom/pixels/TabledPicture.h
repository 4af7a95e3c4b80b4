#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dicom/pixels/Picture.h"
#include "dicom/pixels/StoredSamples.h"

namespace radvex {

/// Some of the stored frames.
struct FrameRange {
    std::uint64_t first;
    std::uint64_t count;
};

/// Size of a picture, and which of the stored frames it has.
struct PictureShape {
    std::uint64_t rows;
    std::uint64_t columns;
    FrameRange frames;

    std::uint64_t pixelsOfFrame() const { return rows * columns; }
};

/// A grey picture that DCMTK renders once for each stored value that occurs, and not once for each pixel.
///
/// DCMTK maps every sample by itself: within one open image, one window and one depth, the same stored word always
/// becomes the same output. So the words that occur are noted, DCMTK renders a small picture that has each of them
/// once and all attributes of the image, and what comes out is the table in which the samples are looked up. No line of
/// its arithmetic is repeated here. What DCMTK takes from the whole picture comes out alike: the least and the greatest
/// value and the ones next to them, because exactly the occurring words are there; and what depends on the number of
/// pixels, because the small picture gets as many as it takes to be on the same side (see TabledPicture.cpp).
class TabledPicture final : public Picture {
  public:
    /// What the small picture may cost.
    enum class Worth {
        whereItPays, ///< few words in many pixels
        always       ///< also where DCMTK itself is faster: for comparisons
    };

    /// What tryToOpen() came to: a picture, or a sentence on why DCMTK has to render all pixels.
    struct Attempt {
        std::unique_ptr<Picture> picture{};
        std::string reason{};
    };

    /// @param dataset  with uncompressed pixels; has to outlive the picture
    /// @param flags  DCMTK's configuration flags, under which the dataset itself would be opened
    /// @param frameStart, frameCount  as DicomImage takes them
    static Attempt tryToOpen(DcmDataset& dataset, unsigned long flags, unsigned long frameStart,
                             unsigned long frameCount, SampleSource source, Worth worth = Worth::whereItPays);

    unsigned long width() const override { return mShape.columns; }
    unsigned long height() const override { return mShape.rows; }
    unsigned long frames() const override { return mShape.frames.count; }
    std::size_t frameBytes(int bits) const override;
    bool render(void* target, std::size_t bytes, int bits, unsigned long frame, bool isByPlane) override;
    std::optional<Values> values() const override;
    bool copyValues(void* target) override;

  protected:
    void forgetRendering() override { mTable.clear(); }

  private:
    TabledPicture(std::unique_ptr<DicomImage> small, std::unique_ptr<DcmDataset> attributes,
                  std::vector<std::uint16_t> words, StoredSamples samples, const PictureShape& shape);

    /// Output by stored word, from what DCMTK made of the small picture.
    std::vector<std::byte> tableOf(const void* outputs, std::size_t outputBytes) const;
    bool lookUp(const std::vector<std::byte>& table, std::size_t outputBytes, FrameRange frames, void* target);

    std::vector<std::uint16_t> mWords; ///< the small picture's pixels
    StoredSamples mSamples;
    PictureShape mShape;
    std::vector<std::byte> mTable{}; ///< of the last rendering; empty when the window may have changed
    int mBitsOfTable = 0;
};

} // namespace radvex
