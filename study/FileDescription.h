#pragma once

#include <string>

namespace radvex::study {

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
};

/// Describes a file. Pixels are not read.
/// @param before   the last file that was described and is taken before this one, or null: upper records that both have
///                 are left out
/// @param hasMark  the file has the mark of a DICOM file; one without that cannot be read as DICOM is no refusal
FileDescription describeFile(const std::string& path, bool hasMark, const FileDescription* before = nullptr);

} // namespace radvex::study
