#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/support/DicomFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace radvex::test {

/// A directory record and the records below it. Nothing is checked: any type may stand anywhere, with any attributes.
///
///     writeMedium(folder, {patientRecord("P1", "Doe^Jane", {studyRecord("1.2", {seriesRecord("1.2.3", "CT",
///                             {imageRecord("DIR\\IM1", 1)})})})});
///     writeDicom(mediumPath(folder, "DIR\\IM1"), [](DcmDataset& dataset) { ... });
struct MediumRecord {
    std::string type{};                ///< DirectoryRecordType, written as it stands; empty: the record has none
    FillItem fill{};                   ///< puts the attributes: keys, SpecificCharacterSet, ReferencedFileID
    std::vector<MediumRecord> below{}; ///< in the order in which the records are chained
};

/// Records with their level's keys. `more` may put others, and change or remove what is there. The keys are
/// PatientID and PatientName; StudyInstanceUID and StudyID (1); SeriesInstanceUID, Modality and SeriesNumber (1);
/// ReferencedFileID and, when it is not 0, InstanceNumber.
MediumRecord patientRecord(const std::string& id, const std::string& name, std::vector<MediumRecord> studies,
                           const FillItem& more = {});
MediumRecord studyRecord(const std::string& uid, std::vector<MediumRecord> series, const FillItem& more = {});
MediumRecord seriesRecord(const std::string& uid, const std::string& modality, std::vector<MediumRecord> images,
                          const FillItem& more = {});
/// @param fileId  components with backslashes between them: "DIR\\IM1"
MediumRecord imageRecord(const std::string& fileId, int instanceNumber, const FillItem& more = {});

/// Writes a DICOMDIR with DCMTK's directory interface, offsets and all. Gives its path. The files that it refers to
/// are not made: see mediumPath.
/// @param name  name in the folder; may be "sub/DICOMDIR" when that folder is there
std::string writeMedium(const TemporaryFolder& folder, const std::vector<MediumRecord>& roots,
                        const std::string& name = "DICOMDIR");

/// A series of modality CT with these File IDs, whose records have no instance number.
MediumRecord seriesOf(const std::string& uid, const std::vector<std::string>& fileIds);

/// A file of a series. What is empty or 0 is left out of it.
struct Slice {
    std::string fileId{};
    int number = 1;                               ///< InstanceNumber
    std::string position{};                       ///< ImagePositionPatient, with an orientation and PixelSpacing
    std::vector<Uint16> words{};                  ///< Pixel Data; that of `file` when it is empty
    std::string orientation = "1\\0\\0\\0\\1\\0"; ///< ImageOrientationPatient, when there is a position
    ImageFile file{.rows = 1, .columns = 2, .words = {}};
};

/// Writes the file in its folder of the medium. Gives its path.
std::string writeSlice(const TemporaryFolder& folder, const Slice& slice);

/// Path of the file that a File ID names on a medium in this folder. Folders on the way are made.
std::string mediumPath(const TemporaryFolder& folder, const std::string& fileId);

} // namespace radvex::test
