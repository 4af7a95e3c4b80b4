#pragma once

#include <memory>
#include <string>
#include <vector>

#include "formats/json/LosslessJson.h"
#include "formats/volumes/VolumeFile.h"
#include "media/MediumTree.h"
#include "volume/GeometryVerdict.h"
#include "volume/SliceRecord.h"

namespace radvex::volume {

/// A series of a medium, and its indices in the library's lists.
struct SeriesFiles {
    std::string patient{}; ///< the key, as are the next two
    std::string study{};
    std::string series{};
    std::size_t patientIndex = 0;     ///< among the patients that match
    std::size_t studyIndex = 0;       ///< among the studies of the patient that match and have a key
    std::size_t repetition = 0;       ///< number of series with the same key before it in the study
    std::vector<std::string> files{}; ///< paths for the library, in the order of the medium
};

/// The series of a medium. @param patients  from listMedium
std::vector<SeriesFiles> seriesOf(const std::vector<media::MediumPatient>& patients);

/// A volume in memory, and the attributes of its slices. The header is complete but for the geometry, which depends on
/// the order in which the slices will be written.
struct SeriesVolume {
    formats::VolumeHeader header{};
    std::vector<SliceRecord> slices{};        ///< one for each slice of the volume
    std::vector<formats::SliceBytes> bytes{}; ///< of each slice
    std::shared_ptr<const void> owner{};      ///< keeps the bytes alive; empty if something else does
    std::string seriesNumber{};
    std::vector<Finding> findings{}; ///< about files and frames that are not in the volume
};

/// Thrown for a series without any picture: structured reports, presentation states and the like.
class NoPicturesError : public formats::VolumeError {
  public:
    using formats::VolumeError::VolumeError;
};

/// The finding that files cannot be read or hold no picture.
/// @param what  "cannot be read"
Finding unreadableFiles(std::vector<std::string> files, const std::string& what, const std::string& reason);

/// @throws VolumeError  names the size of the first file, and the files that differ
[[noreturn]] void failBecauseOfSizes(const std::string& first, vint columns, vint rows,
                                     const std::vector<std::string>& others);

/// Steps, origin (null without a position) and spacings, in mm and LPS.
formats::Json describeGeometry(const formats::VolumeGeometry& geometry);

/// The findings as a list of {"kind", "error", "sentence", "files"}.
formats::Json describeFindings(const std::vector<Finding>& findings);

/// One line: size, type and spacings.
std::string volumeSummary(const formats::VolumeHeader& header);

} // namespace radvex::volume
