#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"
#include "dicom/metadata/RegexFilter.h"
#include "dicom/readers/DcmReader.h"
#include "text/DatasetTexts.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcdicdir.h"
#include "dcmtk/dcmdata/dcdirrec.h"

namespace radvex {

/// The records of a DICOMDIR as a tree of patients, studies, series and instances (PS3.3 annex F).
///
/// The level of a record is its depth alone: its record type is never looked at, and whatever lies below a series is an
/// instance.
class DirectoryTree {
  public:
    /// Reads the directory anew. One that cannot be read any more is an empty tree.
    /// @throws GantryError  OpenFileError (path, reason) when it would exhaust DCMTK's parser
    explicit DirectoryTree(const std::string& path);

    DcmDirectoryRecord& root() { return directory.getRootRecord(); }

  private:
    struct Directory : DcmDicomDir {
        explicit Directory(const std::string& path);
    };
    Directory directory;
};

/// The attribute's text, or that of the second one when it is empty.
std::string getItemIDTag(DcmItem* item, const DcmTagKey& first, const DcmTagKey& second);

// Keys of the levels in every result.

inline std::string patientKey(DcmDirectoryRecord& patient) {
    return getItemIDTag(&patient, DCM_PatientID, DCM_PatientName);
}
inline std::string studyKey(DcmDirectoryRecord& study) {
    return getItemIDTag(&study, DCM_StudyInstanceUID, DCM_StudyID);
}
inline std::string seriesKey(DcmDirectoryRecord& series) {
    return getItemIDTag(&series, DCM_SeriesInstanceUID, DCM_SeriesNumber);
}

/// Every record below one, in directory order, its text in UTF-8: each record has a character set of its own.
template <typename Body>
void forEachRecord(DcmDirectoryRecord& parent, Body body) {
    for (DcmDirectoryRecord* record = parent.nextSub(nullptr); record != nullptr; record = parent.nextSub(record)) {
        text::convertToUtf8(*record, text::OtherTexts::Convert);
        body(*record);
    }
}

template <typename Body>
void forEachPatient(DirectoryTree& tree, const RegexFilter& filter, Body body) {
    const auto passes = matchingProperty(DCM_PatientID, filter.patient);
    forEachRecord(tree.root(), [&](DcmDirectoryRecord& patient) {
        if (passes(&patient)) {
            body(patient);
        }
    });
}

template <typename Body>
void forEachStudy(DcmDirectoryRecord& patient, const RegexFilter& filter, Body body) {
    const auto passes = matchingProperty(DCM_StudyInstanceUID, filter.study);
    forEachRecord(patient, [&](DcmDirectoryRecord& study) {
        if (passes(&study)) {
            body(study);
        }
    });
}

/// Every series of a study, and whether it passes.
template <typename Body>
void forEachSeries(DcmDirectoryRecord& study, const RegexFilter& filter, Body body) {
    const auto passes = matchingProperty(DCM_SeriesInstanceUID, filter.series);
    forEachRecord(study, [&](DcmDirectoryRecord& series) { body(series, passes(&series)); });
}

} // namespace radvex
