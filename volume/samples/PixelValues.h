#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/Host.h"
#include "volume/slices/FileMetadata.h"

namespace radvex::volume {

/// What the values of pixels are.
enum class PixelKind {
    stored,   ///< as they are stored
    modality, ///< after the modality transformation (HU for CT)
    colour,   ///< red, green and blue, in whatever model they are stored
};

/// "stored", "modality" or "colour".
const char* nameOf(PixelKind kind);

/// The decoded pixels of a file, read line by line.
class PixelValues {
  public:
    /// @throws LibraryError, VolumeError  the pixels cannot be decoded, or nobody knows their values
    PixelValues(velmora::Host& host, const std::string& path, const FileMetadata& metadata, PixelKind kind);

    std::size_t frames() const { return mFrames; }
    std::size_t rows() const { return mRows; }
    std::size_t columns() const { return mColumns; }
    std::size_t channels() const { return mChannels; }

    /// The values of a row, channel after channel in each pixel. @param line  has columns() * channels() elements
    void readRow(std::size_t frame, std::size_t row, std::vector<double>& line) const;

  private:
    void takeGrey(const FileMetadata& metadata, PixelKind kind);
    void takeColour();
    /// Index of the first value of a row of one channel, and the distance to the next pixel.
    struct Place {
        std::size_t start;
        std::size_t step;
    };
    Place placeOf(std::size_t frame, std::size_t row, std::size_t channel) const;

    velmora::Value mOwner{};
    std::vector<const VelmoraNumericArray*> mArrays{}; ///< one of all frames, or one for each
    std::vector<ModalityRule> mRules{};                ///< one for each frame; none: values stay as they are
    std::size_t mFrames = 1;
    std::size_t mRows = 0;
    std::size_t mColumns = 0;
    std::size_t mChannels = 1;
    bool mIsPlanar = false;
};

} // namespace radvex::volume
