#pragma once

#include <string>
#include <tuple>
#include <vector>

namespace radvex::media {

// Patients, studies and series of a DICOMDIR or a folder. Texts are UTF-8, and empty where a record or a file does not
// have the attribute.

struct MediumSeries {
    std::string key{}; ///< SeriesInstanceUID, else SeriesNumber
    std::string uid{};
    std::string number{};
    std::string description{};
    std::string modality{};
    std::vector<std::string> files{}; ///< paths as the library opens them, in directory order

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.key, self.uid, self.number, self.description, self.modality, self.files);
    }
};

struct MediumStudy {
    std::string key{}; ///< StudyInstanceUID, else StudyID
    std::string uid{};
    std::string date{};
    std::string description{};
    std::vector<MediumSeries> series{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.key, self.uid, self.date, self.description, self.series);
    }
};

struct MediumPatient {
    std::string key{}; ///< PatientID, else PatientName
    std::string id{};
    std::string name{};
    std::vector<MediumStudy> studies{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.key, self.id, self.name, self.studies);
    }
};

/// Calls `body` with every series, its study and its patient, in directory order.
template <typename Body>
void forEachSeries(const std::vector<MediumPatient>& patients, Body body) {
    for (const MediumPatient& patient : patients) {
        for (const MediumStudy& study : patient.studies) {
            for (const MediumSeries& series : study.series) {
                body(patient, study, series);
            }
        }
    }
}

} // namespace radvex::media
