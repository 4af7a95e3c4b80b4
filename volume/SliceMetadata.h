#pragma once

#include <string>
#include <vector>

#include "host/Host.h"
#include "volume/SliceRecord.h"
#include "volume/VolumeType.h"

namespace radvex::volume {

/// What one file says about itself and its slices, of which each frame is one.
class FileMetadata {
  public:
    enum class Extent {
        places, ///< where its slices lie; no colour and no rules
        all
    };

    /// Reads it through ReadMetadata.
    /// @param path  as the library takes it
    /// @param name  of the file, as the user knows it
    /// @throws LibraryError
    FileMetadata(velmora::Host& host, const std::string& path, std::string name, Extent extent = Extent::all);

    const std::string& name() const { return mName; }
    vint rows() const { return mRows; }
    vint columns() const { return mColumns; }
    bool isColour() const { return mIsColour; } ///< several samples a pixel, or a palette
    const std::string& seriesNumber() const { return mSeriesNumber; }
    /// As the file promises, at least 1. It may promise anything.
    vint promisedFrames() const { return mPromisedFrames; }
    /// The library has to apply the modality transformation. Otherwise it may give stored values, and rules() says what
    /// they mean.
    bool needsLibrary() const { return mRule.isLibrarys; }

    /// Frames get their place from the functional groups; without these they have none, since the dataset's own place
    /// can only be that of one of them.
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
    bool mIsRuleWhole = false; ///< false: frames may have rules of their own
};

} // namespace radvex::volume
