#pragma once

#include <memory>
#include <string>
#include <vector>

#include "formats/json/LosslessJson.h"
#include "formats/volumes/VolumeFile.h"
#include "host/Host.h"
#include "media/MediumTree.h"
#include "volume/geometry/GeometryVerdict.h"
#include "volume/slices/SliceRecord.h"

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

/// One file as a series of its own. @throws LibraryError  it cannot be read
SeriesFiles seriesOfFile(velmora::Host& host, const std::string& path);

/// Steps, origin (null without a position) and spacings, in mm and LPS.
formats::Json describeGeometry(const formats::VolumeGeometry& geometry);

/// The findings as a list of {"kind", "error", "sentence", "files"}, and "processEnd" where a reading process ended.
formats::Json describeFindings(const std::vector<Finding>& findings);

/// One line: size, type and spacings.
std::string volumeSummary(const formats::VolumeHeader& header);

} // namespace radvex::volume
