#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "dcmtk/config/osconfig.h"
#include "media/FileDescription.h"

#include "dcmtk/dcmdata/dcddirif.h"

namespace radvex::media {

/// Makes the records of a DICOMDIR, file by file. It finds the parent of each record itself, because DCMTK searches all
/// records of the level for every file, and all records of the directory for attributes to invent, which takes
/// quadratic time.
class DirectoryBuilder : private DicomDirInterface {
  public:
    /// @param path  of the DICOMDIR to be written
    explicit DirectoryBuilder(const std::string& path);

    /// True if the file is the first of a patient, study or series, but does not have the record for it.
    bool lacksRecords(const FileDescription& file);

    /// Adds the record of a file, and those of its patient, study and series if they are new.
    /// @param file    with the outcome Described
    /// @param fileId  name of the file beside the DICOMDIR
    /// @throws std::runtime_error  part of a sentence: a record cannot be made or inserted
    void add(const FileDescription& file, const std::string& fileId);

    /// Invents what is missing and writes the file. @throws std::runtime_error  a sentence
    void write();

    std::size_t patientCount() const { return mPatients.size(); }
    std::size_t studyCount() const { return mStudies.size(); }
    std::size_t seriesCount() const { return mSeries.size(); }

  private:
    using Key = std::pair<DcmDirectoryRecord*, std::string>; // parent record, and the identity of a record below it
    using Records = std::map<Key, DcmDirectoryRecord*>;
    using NewRecord = std::unique_ptr<DcmDirectoryRecord>;

    /// A record above that of a file: what identifies it, and what it is made from.
    struct Level {
        Records& records;
        std::string key;
        E_DirRecType type;
        const std::string& bytes;
        NewRecord made{};
    };

    std::array<Level, 3> levelsOf(const FileDescription& file);
    void insert(DcmDirectoryRecord* parent, NewRecord record);
    void insertBelowSeries(NewRecord instance, const FileDescription& file);

    std::unique_ptr<DcmDicomDir> mDirectory;
    std::size_t mRecordCount = 0;
    Records mPatients{};
    Records mStudies{};
    Records mSeries{};
    PatientKeys mPatientKeys{};
};

} // namespace radvex::media
