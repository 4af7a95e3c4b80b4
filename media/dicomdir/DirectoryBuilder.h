#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "dcmtk/config/osconfig.h"
#include "media/FileDescription.h"

#include "dcmtk/dcmdata/dcddirif.h"

namespace radvex::media {

/// Makes the records of a DICOMDIR, file by file. Finding the place for each is done here: DCMTK looks through all
/// records of the level for every file, and through all records of the directory for attributes to invent, which takes
/// time in the square of the number of files.
class DirectoryBuilder : private DicomDirInterface {
  public:
    /// @param path  of the DICOMDIR to be written
    explicit DirectoryBuilder(const std::string& path);

    /// True when the file is the first of a patient, study or series whose record it does not have.
    bool lacksRecords(const FileDescription& file) const;

    /// Adds the record of a file, and those of its patient, study and series where they are new.
    /// @param file    one that is described
    /// @param fileId  name of the file beside the DICOMDIR
    /// @throws std::runtime_error  part of a sentence: a record cannot be made or inserted
    void add(const FileDescription& file, const std::string& fileId);

    /// Invents what is missing and writes the file. @throws std::runtime_error  a sentence
    void write();

    std::size_t patientCount() const { return mPatients.size(); }
    std::size_t studyCount() const { return mStudies.size(); }
    std::size_t seriesCount() const { return mSeries.size(); }

  private:
    using Key = std::pair<DcmDirectoryRecord*, std::string>; // the record above, and what tells those below it apart
    using Records = std::map<Key, DcmDirectoryRecord*>;
    using NewRecord = std::unique_ptr<DcmDirectoryRecord>;

    void insert(DcmDirectoryRecord* parent, NewRecord record);
    void insertBelowSeries(NewRecord instance, const FileDescription& file);
    std::string patientKey(const FileDescription& file) const;

    std::unique_ptr<DcmDicomDir> mDirectory;
    std::size_t mRecordCount = 0;
    Records mPatients{};
    Records mStudies{};
    Records mSeries{};
    std::map<std::string, std::string> mPatientOfStudy{};
};

} // namespace radvex::media
