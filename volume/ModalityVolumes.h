#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "host/Host.h"
#include "volume/VolumeSeries.h"

namespace radvex::volume {

/// Reads the series of a medium as modality values (HU for CT): all frames of all files, in the order of the medium.
/// Files are read by other processes, which stay for the next series; if one ends, that is a finding about its file.
/// Needs memory for the volume, and for one file per process.
class ModalityVolumes {
  public:
    /// @param all   series, which must outlive this object, as must the host and the medium
    /// @param jobs  processes; 0: this one reads the files, as it does if there is only one
    ModalityVolumes(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all,
                    std::size_t jobs);
    ~ModalityVolumes();
    ModalityVolumes(const ModalityVolumes&) = delete;
    ModalityVolumes& operator=(const ModalityVolumes&) = delete;

    /// The bytes of the volume are valid until the next one is read.
    /// @param series  index
    /// @param step    called after each file
    /// @throws NoPicturesError, VolumeError  colour, slices of different size, no memory
    SeriesVolume read(std::size_t series, const std::function<void()>& step);

  private:
    class Reader;

    std::unique_ptr<Reader> mReader;
};

} // namespace radvex::volume
