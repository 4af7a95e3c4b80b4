#pragma once

#include <string>
#include <vector>

#include "Host.h"
#include "Selection.h"

namespace radvex::cli {

// What the records of a DICOMDIR say, level by level. Texts are empty where a record says nothing.

struct MediumSeries {
    std::string key{}; ///< SeriesInstanceUID, else SeriesNumber
    std::string uid{};
    std::string number{};
    std::string description{};
    std::string modality{};
    std::vector<std::string> files{}; ///< paths as the library opens them, in directory order
};

struct MediumStudy {
    std::string key{}; ///< StudyInstanceUID, else StudyID
    std::string uid{};
    std::string date{};
    std::string description{};
    std::vector<MediumSeries> series{};
};

struct MediumPatient {
    std::string key{}; ///< PatientID, else PatientName
    std::string id{};
    std::string name{};
    std::vector<MediumStudy> studies{};
};

/// The patients, studies and series that are chosen, in directory order. Studies and series that have no key are not
/// there: the library leaves them out of every result.
std::vector<MediumPatient> readMediumTree(velmora::Host& host, const std::string& dicomdir, const Selection& selection);

/// The selection of one series and no other.
Selection selectionOf(const MediumPatient& patient, const MediumStudy& study, const MediumSeries& series);

} // namespace radvex::cli
