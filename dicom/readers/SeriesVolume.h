#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "bridge/containers/Image.h"
#include "dicom/pixels/ImageOptions.h"
#include "dicom/pixels/Picture.h"

namespace radvex {

using OpenImages = std::vector<std::shared_ptr<Picture>>;
using Volume = GTU::VContainer<GTU::VArgumentType::Image, GTU::Passing::Manual>;

/// Puts a window into the options that spans the values of all images, so that grey values compare between them. A
/// colour image counts as the value 0. The width is that of the span, not of DICOM's convention minus one: hosts rely
/// on it.
/// @param images  not empty
void setWindowForSeries(const OpenImages& images, ImageReadOptions& options);

/// One frame of each image of a series, rendered without overlays as a slice of a volume: u8 when the first image has 8
/// bits, else u16; size and colour are those of the first image.
///
/// Each slice starts as many bytes behind the one before as that one has at its own depth, which in a series of mixed
/// depths need not be where the volume's slices are; hosts rely on it. When that would leave the volume, a slice takes
/// no more than it has at the volume's depth.
///
/// As long as all images are alike, each is rendered when it is added and need not be kept. From the first one that
/// differs on they are kept, since only all of them together tell where each slice lies.
class SeriesVolume {
  public:
    /// @param images  their number
    SeriesVolume(std::size_t images, const ImageReadOptions& options) : mCount(images), mOptions(options) {}

    /// The next image. What goes wrong with its slice is told by finish(): other images may have errors that come
    /// first.
    /// @return true when its slice is done; otherwise its pixels are needed until finish()
    bool add(const std::shared_ptr<Picture>& image);

    /// @throws GantryError  NoImagesError; ImageReadError when a slice does not fit or cannot be rendered;
    ///                      DimensionsError; ImageNewError
    Volume finish();

  private:
    /// Size of an image, in bytes; of one that is done only this is left.
    struct Slice {
        std::shared_ptr<Picture> image{}; ///< null when its slice is done
        std::size_t ownBytes;             ///< at its own depth
        std::size_t bytes;                ///< at the volume's depth
    };

    void begin(const Picture& first);
    void render(Picture& image, std::size_t place);
    void arrange(const std::vector<std::size_t>& places);

    std::size_t mCount;
    ImageReadOptions mOptions;
    std::vector<Slice> mSlices{};
    std::size_t mDone = 0; ///< slices that lie in the volume
    std::exception_ptr mFailure{};
    std::optional<Volume> mVolume{};
    int mBits = 0; ///< of a sample of the volume
    std::size_t mVolumeBytes = 0;
    std::size_t mSliceBytes = 0;
};

/// All images at once, as SeriesVolume.
Volume consolidateImages(const OpenImages& images, const ImageReadOptions& options);

} // namespace radvex
