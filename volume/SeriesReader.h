#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/Host.h"
#include "media/Rendering.h"
#include "volume/VolumeSeries.h"
#include "volume/slices/SliceFile.h"

namespace radvex::volume {

/// The slices of a series in memory, in the order of the medium: all frames of all files.
struct SeriesSlices {
    std::vector<SliceRecord> slices{};
    std::vector<ModalityRule> rules{}; ///< one for each slice: what stored values lack of modality values
    std::unique_ptr<VolumeBuffer> samples{};
    std::string seriesNumber{};
    std::vector<Finding> findings{}; ///< about files that are not among the slices
};

/// Thrown for a series without any picture: structured reports, presentation states and the like.
class NoPicturesError : public formats::VolumeError {
  public:
    using formats::VolumeError::VolumeError;
};

/// Thrown for a series without any readable file, of which at least one ended the process that read it.
class ReaderEndedError : public formats::VolumeError {
  public:
    ReaderEndedError(const std::string& sentence, Finding first) : VolumeError(sentence), mFirst(std::move(first)) {}
    /// The finding about the first of these files.
    const Finding& first() const { return mFirst; }

  private:
    Finding mFirst;
};

/// Reads the series of a medium. Files are read by other processes, which stay for the next series; if one ends, that
/// is a finding about its file. Needs memory for the series, and for one file per process.
class SeriesReader {
  public:
    /// @param all        series, which must outlive this object, as must the host and the medium
    /// @param kind       of the samples; files in colour give pictures in any case
    /// @param rendering  of pictures
    /// @param jobs       processes; 0: this one reads the files, as it does if there is only one
    SeriesReader(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all, SampleKind kind,
                 const media::Rendering& rendering, std::size_t jobs);
    ~SeriesReader();
    SeriesReader(const SeriesReader&) = delete;
    SeriesReader& operator=(const SeriesReader&) = delete;

    /// The samples are valid until the next series is read.
    /// @param series  index
    /// @param step    called after each file
    /// @throws NoPicturesError, VolumeError  no file can be read, no memory
    SeriesSlices read(std::size_t series, const std::function<void()>& step);

  private:
    class Reader;

    std::unique_ptr<Reader> mReader;
};

} // namespace radvex::volume
