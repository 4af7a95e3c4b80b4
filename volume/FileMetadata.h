#pragma once

#include <string>
#include <vector>

#include "host/Host.h"
#include "volume/SliceRecord.h"
#include "volume/VolumeType.h"

namespace radvex::volume {

/// What one file says about itself and its slices. Each frame is a slice.
class FileMetadata {
  public:
    enum class Extent {
        positions, ///< where its slices lie, but not colour and rules
        all,
    };

    /// Reads it through ReadMetadata.
    /// @param path  for the library
    /// @param name  of the file, as the user knows it
    /// @throws LibraryError
    FileMetadata(velmora::Host& host, const std::string& path, std::string name, Extent extent = Extent::all);

    const std::string& name() const { return mName; }
    vint rows() const { return mRows; }
    vint columns() const { return mColumns; }
    bool isColour() const { return mIsColour; } ///< several samples a pixel, or a palette
    const std::string& seriesNumber() const { return mSeriesNumber; }
    /// NumberOfFrames, at least 1. The file may contain fewer or more.
    vint promisedFrames() const { return mPromisedFrames; }
    /// The library has to apply the modality transformation. Otherwise stored values can be read, and rules() says how
    /// to rescale them.
    bool needsLibrary() const { return mRule.needsLibrary; }

    /// Frames get their positions from the functional groups. Without these they have none, since the position in the
    /// dataset itself can only be that of one frame.
    std::vector<SliceRecord> slices(vint frames) const;
    std::vector<ModalityRule> rules(vint frames) const;

  private:
    velmora::Value mFound;
    std::string mName;
    vint mRows = 0;
    vint mColumns = 0;
    bool mIsColour = false;
    std::string mSeriesNumber{};
    vint mPromisedFrames = 1;
    ModalityRule mRule{};
    bool mIsRuleWhole = false; ///< false: frames may have their own rules
};

} // namespace radvex::volume
