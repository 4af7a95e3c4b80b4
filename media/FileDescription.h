#pragma once

#include <string>
#include <tuple>

namespace radvex::media {

/// What the records of one file in a DICOMDIR are made of. Plain values, so that a file may be described by another
/// process than the one that makes the directory.
struct FileDescription {
    enum Outcome { Described, NotForADirectory, Refused };
    Outcome outcome = Described;
    std::string reason{}; ///< why it was refused, or why a record is missing: "it has no StudyInstanceUID"

    /// What tells patients, studies and series apart; empty for a file whose record stands at the root.
    std::string patientId{};
    std::string patientName{};
    std::string study{};
    std::string series{};

    /// Records as datasets in Explicit VR Little Endian. Those of patient, study and series may be missing: for a file
    /// whose record stands at the root, and where a file before has them or they cannot be made.
    std::string patientRecord{};
    std::string studyRecord{};
    std::string seriesRecord{};
    std::string instanceRecord{};
    int instanceType = 0; ///< an E_DirRecType

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.outcome, self.reason, self.patientId, self.patientName, self.study, self.series,
                        self.patientRecord, self.studyRecord, self.seriesRecord, self.instanceRecord,
                        self.instanceType);
    }
};

} // namespace radvex::media
