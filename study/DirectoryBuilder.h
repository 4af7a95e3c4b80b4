#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcddirif.h"

namespace radvex::study {

/// What became of a file.
struct Addition {
    enum Outcome { Added, NotForADirectory, Refused };
    Outcome outcome = Added;
    std::string reason{}; ///< why it was refused
};

/// Makes the records of a DICOMDIR, file by file. DCMTK's interface composes each record; finding the place for it is
/// done here: DCMTK looks through all records of the level for every file, and through all records of the directory
/// for attributes to invent, which takes time in the square of the number of files.
class DirectoryBuilder : private DicomDirInterface {
  public:
    /// @param path  of the DICOMDIR to be written
    explicit DirectoryBuilder(const std::string& path);

    /// Adds the record of a file, and those of its patient, study and series where they are new. Pixels are not read.
    /// @param fileId  name of the file beside the DICOMDIR
    /// @param hasMark  the file has the mark of a DICOM file; one without that cannot be read as DICOM is no refusal
    Addition add(const std::string& path, const std::string& fileId, bool hasMark);

    /// Invents what is missing and writes the file. @throws std::runtime_error  a sentence
    void write();

    std::size_t patientCount() const { return mPatients.size(); }
    std::size_t studyCount() const { return mStudies.size(); }
    std::size_t seriesCount() const { return mSeries.size(); }

  private:
    struct Source; // one file

    using Key = std::pair<DcmDirectoryRecord*, std::string>; // the record above, and what tells those below it apart
    using Records = std::map<Key, DcmDirectoryRecord*>;
    using NewRecord = std::unique_ptr<DcmDirectoryRecord>;

    Addition addLoaded(Source& source);
    void insert(DcmDirectoryRecord* parent, NewRecord record);
    void insertBelowSeries(NewRecord instance, Source& source);
    std::string patientKey(Source& source, const std::string& study) const;
    NewRecord newRecord(E_DirRecType parent, E_DirRecType type, Source& source);

    std::unique_ptr<DcmDicomDir> mDirectory;
    std::size_t mRecordCount = 0;
    Records mPatients{};
    Records mStudies{};
    Records mSeries{};
    std::map<std::string, std::string> mPatientOfStudy{};
};

} // namespace radvex::study
