#pragma once

#include <map>
#include <string>
#include <tuple>

namespace radvex::media {

/// What a file says about its patient, study and series. Plain values, so that another process than the one that puts
/// the files together can describe a file.
struct FileDescription {
    enum Outcome { Described, NotForADirectory, Refused };
    Outcome outcome = Described;
    std::string reason{}; ///< why it was refused, or why a record is missing: "it has no StudyInstanceUID"

    /// They identify patient, study and series; empty for a file that belongs to none, such as a palette.
    std::string patientId{};
    std::string patientName{};
    std::string study{};
    std::string series{};

    // For a listing: UTF-8, empty where the file has no value.
    std::string studyDate{};
    std::string studyDescription{};
    std::string seriesNumber{};
    std::string seriesDescription{};
    std::string modality{};

    // For a DICOMDIR.
    /// Records as datasets in Explicit VR Little Endian. Those of patient, study and series are empty if the record of
    /// the file belongs to the root, if an earlier file has them, or if they cannot be made.
    std::string patientRecord{};
    std::string studyRecord{};
    std::string seriesRecord{};
    std::string instanceRecord{};
    int instanceType = 0; ///< an E_DirRecType

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.outcome, self.reason, self.patientId, self.patientName, self.study, self.series,
                        self.studyDate, self.studyDescription, self.seriesNumber, self.seriesDescription, self.modality,
                        self.patientRecord, self.studyRecord, self.seriesRecord, self.instanceRecord,
                        self.instanceType);
    }
};

/// Tells patients apart: by their ID; without one, by the patient of the study if that is known, else by the name.
class PatientKeys {
  public:
    /// To be called for the files in their order.
    std::string keyOf(const FileDescription& file);

  private:
    std::map<std::string, std::string> mPatientOfStudy{};
};

} // namespace radvex::media
