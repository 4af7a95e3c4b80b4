#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmimgle/dcmimage.h"

namespace radvex {

/// Opened pixels, as the reads ask for them: rendered with a window, or as values before any window. This one leaves
/// all to DCMTK; those derived from it come to the same bytes by a shorter road.
class Picture {
  public:
    /// @param dataset  the one that the image was opened from, when it belongs to nobody else
    explicit Picture(std::unique_ptr<DicomImage> image, std::unique_ptr<DcmDataset> dataset = nullptr)
        : mDataset(std::move(dataset)), mImage(std::move(image)) {}
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    virtual ~Picture() = default;

    /// What DCMTK says of the picture: depth, colour, least and greatest value. To be used for windows and overlays
    /// too. Size, frames and pixels are asked of the picture itself: those of the image may be others.
    DicomImage& image() {
        forgetRendering();
        return *mImage;
    }
    const DicomImage& image() const { return *mImage; }

    virtual unsigned long width() const { return mImage->getWidth(); }
    virtual unsigned long height() const { return mImage->getHeight(); }
    virtual unsigned long frames() const { return mImage->getFrameCount(); }

    /// Bytes of a rendered frame at a depth in bits; 0 bits for the picture's own depth.
    virtual std::size_t frameBytes(int bits) const { return mImage->getOutputDataSize(bits); }
    /// Renders one frame over the whole range of the depth, colour by pixel or by plane.
    /// @param bytes  of the target; at least frameBytes(bits)
    /// @return false when DCMTK gives no pixels
    virtual bool render(void* target, std::size_t bytes, int bits, unsigned long frame, bool isByPlane);

    /// Values after the modality transformation and before any window (PS3.3 C.11.1).
    struct Values {
        EP_Representation representation;
        unsigned long count; ///< of all frames; of colour, those of the first plane
    };
    /// @return nothing when there are none
    virtual std::optional<Values> values() const;
    /// Copies all of them, in their representation. @return false when they cannot be read
    virtual bool copyValues(void* target);

  protected:
    /// Called before the window may change.
    virtual void forgetRendering() {}
    /// The image, for whoever leaves its window alone.
    DicomImage& opened() { return *mImage; }

  private:
    std::unique_ptr<DcmDataset> mDataset;
    std::unique_ptr<DicomImage> mImage;
};

/// Bytes of one value; 0 for a representation that is no number.
std::size_t bytesOf(EP_Representation representation);

} // namespace radvex
