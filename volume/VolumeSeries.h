#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "host/Host.h"
#include "media/MediumTree.h"
#include "volume/SliceGeometry.h"

namespace radvex::volume {

/// A series of a medium, and where it stands in the library's lists.
struct SeriesFiles {
    std::string patient{}; ///< keys of the levels
    std::string study{};
    std::string series{};
    std::size_t patientIndex = 0;     ///< among the patients that match
    std::size_t studyIndex = 0;       ///< among the studies of the patient that match and have a key
    std::size_t repetition = 0;       ///< how many series of the same key stand before it in the study
    std::vector<std::string> files{}; ///< as the library takes them, in the order of the medium
};

/// The series of a medium. @param patients  as listMedium gives them
std::vector<SeriesFiles> seriesOf(const std::vector<media::MediumPatient>& patients);

/// A volume in memory, and what its slices say. The type and the slice count of the header are known; its geometry
/// waits for the order that the slices shall have.
struct SeriesVolume {
    formats::VolumeHeader header{};
    std::vector<SliceRecord> slices{};        ///< as many as the volume has
    std::vector<formats::SliceBytes> bytes{}; ///< of each of them
    std::shared_ptr<const void> owner{};      ///< of the bytes
    std::string seriesNumber{};
    std::vector<Finding> findings{}; ///< about files that gave no slice
};

/// Everything that reading a series needs beside the library.
struct SeriesReading {
    velmora::Host& host;
    const media::Medium& medium;
    media::Selection selection{};
    std::function<void()> step = [] {}; ///< called for each file
};

/// Thrown when a series holds no pictures at all: structured reports, presentation states and the like.
class NoPicturesError : public formats::VolumeError {
  public:
    using formats::VolumeError::VolumeError;
};

/// Reads the series of a medium as modality values (HU for CT): all frames of all files, in the order of the medium.
/// Files are read in processes of their own, which stay for the next series; one that ends is a finding about its file.
/// Memory: the volume, and for each process one file.
class ModalityVolumes {
  public:
    /// @param all   series, which must outlive this object as the host and the medium
    /// @param jobs  processes; 0: this one reads itself, as it does when there is one file
    ModalityVolumes(velmora::Host& host, const media::Medium& medium, const std::vector<SeriesFiles>& all,
                    std::size_t jobs);
    ~ModalityVolumes();
    ModalityVolumes(const ModalityVolumes&) = delete;
    ModalityVolumes& operator=(const ModalityVolumes&) = delete;

    /// The bytes of the volume stay until the next one is read.
    /// @param series  index
    /// @param step    called for each file
    /// @throws NoPicturesError, VolumeError  colour, slices of different size, no memory
    SeriesVolume read(std::size_t series, const std::function<void()>& step);

  private:
    class Reader;

    std::unique_ptr<Reader> mReader;
};

/// The picture volume of Read3DImage: the first frame of each file, in the library's order by InstanceNumber.
/// @param scaling  as the library takes it
/// @throws NoPicturesError, VolumeError, LibraryError
SeriesVolume readRenderedVolume(const SeriesReading& reading, const SeriesFiles& series,
                                const velmora::Tensor& scaling);

} // namespace radvex::volume
