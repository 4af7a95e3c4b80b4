#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dicom/pixels/Picture.h"
#include "dicom/pixels/SmallPicture.h"
#include "dicom/pixels/StoredSamples.h"

namespace radvex {

/// A picture that DCMTK renders once for each stored value that occurs, and not once for each pixel.
///
/// DCMTK maps every sample by itself: within one open image, one window and one depth, the same stored word always
/// becomes the same output. So the words that occur are noted, DCMTK renders a small picture that has each of them
/// once and all attributes of the image, and what comes out is the table in which the samples are looked up. No line of
/// its arithmetic is repeated here. What DCMTK takes from the whole picture comes out alike: the least and the greatest
/// value and the ones next to them, because exactly the occurring words are there; and what depends on the number of
/// pixels, because the small picture gets as many as it takes to be on the same side (see TabledPicture.cpp).
///
/// That holds for grey pictures, for RGB of 8 bits a sample, and for palettes.
class TabledPicture final : public Picture {
  public:
    /// What a picture is opened for.
    enum class Use {
        rendering, ///< render(), at any depth
        values     ///< also values(): grey only
    };
    /// What the small picture may cost.
    enum class Worth {
        whereItPays, ///< few words in many pixels
        always       ///< also where DCMTK itself is faster: for comparisons
    };
    struct Request {
        unsigned long flags = 0;      ///< DCMTK's, under which the dataset itself would be opened
        unsigned long frameStart = 0; ///< as DicomImage takes it, like the next one
        unsigned long frameCount = 0;
        SampleSource source = SampleSource::memory;
        Use use = Use::rendering;
        bool isByPixel = false; ///< colour is asked for by pixel, however it is stored
        Worth worth = Worth::whereItPays;
    };
    /// What an attempt came to: a picture, or a sentence on why DCMTK has to render all pixels.
    struct Attempt {
        std::unique_ptr<Picture> picture{};
        std::string reason{};
    };

    /// @param dataset  with uncompressed pixels; has to outlive the picture
    static Attempt tryToOpen(DcmDataset& dataset, const Request& request);

    unsigned long width() const override { return mShape.columns; }
    unsigned long height() const override { return mShape.rows; }
    unsigned long frames() const override { return mShape.frameCount; }
    std::size_t frameBytes(int bits) const override;
    /// `isByPlane` has to be what the request was for: the order of colours is settled when the picture is opened.
    bool render(void* target, std::size_t bytes, int bits, unsigned long frame, bool isByPlane) override;
    std::optional<Values> values() const override;
    bool copyValues(void* target) override;

    /// Colours of the stored samples.
    enum class Colour { grey, rgb, palette };

    /// Size of the stored pixels, and which of their frames the picture has.
    struct Shape {
        std::uint64_t rows;
        std::uint64_t columns;
        std::uint64_t firstFrame;
        std::uint64_t frameCount;
        std::uint64_t samplesOfPixel; ///< 3 for RGB

        std::uint64_t samplesOfFrame() const { return rows * columns * samplesOfPixel; }
    };

  protected:
    void forgetRendering() override { mTable.outputs.clear(); }

  private:
    /// Output by stored word.
    struct Table {
        std::vector<std::byte> outputs{};
        std::size_t outputBytes = 0; ///< of one sample, or of the three of a palette
        int bits = 0;
        bool isIdentity = false; ///< what is stored comes out as it is
    };

    TabledPicture(SmallPicture&& small, std::vector<std::uint16_t> words, StoredSamples samples, const Shape& shape,
                  Colour colour);

    Table tableOf(const void* outputs, std::size_t outputBytes, int bits) const;
    bool lookUp(const Table& table, std::uint64_t firstFrame, std::uint64_t frames, void* target);
    std::size_t outputBytesOfPixel(int bits) const;

    std::vector<std::uint16_t> mWords; ///< the small picture's pixels
    StoredSamples mSamples;
    Shape mShape;
    Colour mColour;
    Table mTable{}; ///< of the last rendering; empty when the window may have changed
};

} // namespace radvex
