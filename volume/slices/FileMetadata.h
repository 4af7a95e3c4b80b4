#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/Host.h"
#include "volume/samples/VolumeType.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

/// What one file says about itself and its slices. Each frame is a slice.
class FileMetadata {
  public:
    /// Reads it through ReadMetadata, which decodes compressed pixels for what decoders may change.
    /// @param path  for the library
    /// @param name  of the file for messages, where the library reads a copy
    /// @throws LibraryError
    FileMetadata(velmora::Host& host, const std::string& path, const std::string& name = "");

    /// Without decoding anything: for who does not look at the pixels.
    /// @throws LibraryError, FileError
    static FileMetadata ofAttributes(velmora::Host& host, const std::string& path);

    const std::string& name() const { return mName; }
    vint rows() const { return mRows; }
    vint columns() const { return mColumns; }
    vint bitsAllocated() const { return mBitsAllocated; } ///< 0 without the attribute
    bool isColour() const { return mIsColour; }           ///< several samples a pixel, or a palette
    const std::string& seriesNumber() const { return mSeriesNumber; }
    /// NumberOfFrames, at least 1. The file may contain fewer or more.
    vint promisedFrames() const { return mPromisedFrames; }
    /// The library has to apply the modality transformation. Otherwise stored values can be read, and rules() says how
    /// to rescale them.
    bool needsLibrary() const { return mRule.needsLibrary; }

    /// The file says how stored values become modality values, and says it whole.
    bool hasScaling() const;
    /// ImageType says that the picture holds several slices as tiles.
    bool isMosaic() const;

    /// The frames that were found, or the pixels of an uncompressed file, are fewer than NumberOfFrames and the size
    /// promise.
    bool lacksPixels(const std::string& path, std::size_t frames) const;
    /// As before, or there are more functional groups than frames.
    bool promisesMorePixels(const std::string& path, std::size_t frames) const;
    /// The rescale is that of each frame, which DCMTK does not look at when it renders.
    bool isRescaledByFrame() const { return mIsRescaledByFrame; }
    bool isDose() const;

    /// As framesOf gives them, with the rescale of each.
    std::vector<SliceRecord> slices(vint frames) const;
    std::vector<ModalityRule> rules(vint frames) const;

  private:
    /// What decoders may change.
    struct PixelFacts {
        vint samples = 1;
        std::string photometricInterpretation{};
        vint bitsAllocated = 0;
        vint bitsStored = 0;
        std::string frames{};
    };
    static PixelFacts factsOf(velmora::StoreView file);
    static PixelFacts storedFacts(const std::string& path);
    FileMetadata(velmora::Value found, std::string name);
    FileMetadata(velmora::Value found, const std::optional<PixelFacts>& stored, std::string name);

    velmora::Value mFound;
    std::string mName;
    vint mRows = 0;
    vint mColumns = 0;
    vint mBitsAllocated = 0;
    bool mIsColour = false;
    double mPromisedBytes = 0; ///< of the pixels, if they are not compressed
    std::string mSeriesNumber{};
    vint mPromisedFrames = 1;
    bool mIsRescaledByFrame = false;
    ModalityRule mRule{};
    bool mIsRuleWhole = false; ///< false: frames may have their own rules
};

} // namespace radvex::volume
