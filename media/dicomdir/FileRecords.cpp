#include "media/dicomdir/FileRecords.h"

#include <memory>
#include <stdexcept>

#include "dcmtk/dcmdata/dcddirif.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "guard/GuardedLoad.h"
#include "media/dicomdir/RecordBytes.h"
#include "media/dicomdir/RecordTypes.h"

namespace radvex::media {

namespace {

/// DCMTK throws on some values: out_of_range, length_error.
std::string whyUnreadable(const std::exception& error) {
    return std::string("its values cannot be read: ") + error.what();
}

/// Composes records with DCMTK's interface, without a directory: what it would look through there for every file takes
/// time in the square of their number.
class Describer : private DicomDirInterface {
  public:
    explicit Describer(const std::string& path) : mPath(path) {}

    FileDescription describe(bool hasMark, const FileDescription* before);

  private:
    static FileDescription refusal(const std::string& reason) { return {FileDescription::Refused, reason}; }

    FileDescription describeLoaded(const FileDescription* before);
    void addUpperRecords(FileDescription& description, const FileDescription* before);
    std::string record(E_DirRecType parent, E_DirRecType type);

    std::string value(const DcmTagKey& key) { return valueOf(*mFile.getDataset(), key); }
    std::string metaValue(const DcmTagKey& key) { return valueOf(*mFile.getMetaInfo(), key); }
    static std::string valueOf(DcmItem& item, const DcmTagKey& key) {
        OFString text;
        return item.findAndGetOFString(key, text).good() ? std::string(text.c_str(), text.size()) : std::string();
    }

    /// Puts the value of the meta information where the dataset has none.
    void complete(const DcmTagKey& key, const DcmTagKey& metaKey) {
        const std::string known = metaValue(metaKey);
        if (value(key).empty() && !known.empty()) {
            mFile.getDataset()->putAndInsertString(key, known.c_str());
        }
    }

    std::string mPath;
    DcmFileFormat mFile{};
};

FileDescription Describer::describe(bool hasMark, const FileDescription* before) {
    const auto failure = loadGuarded(mFile, mPath);
    if (failure && failure->isRefused) {
        return refusal(failure->reason);
    }
    if (!failure) {
        if (metaValue(DCM_MediaStorageSOPClassUID) == UID_MediaStorageDirectoryStorage) {
            return {FileDescription::NotForADirectory};
        }
        complete(DCM_SOPClassUID, DCM_MediaStorageSOPClassUID);
        complete(DCM_SOPInstanceUID, DCM_MediaStorageSOPInstanceUID);
    }
    if (!hasMark && (failure || value(DCM_SOPClassUID).empty())) {
        return {FileDescription::NotForADirectory};
    }
    return failure ? refusal("it cannot be read: " + failure->reason) : describeLoaded(before);
}

FileDescription Describer::describeLoaded(const FileDescription* before) {
    const std::string sopClass = value(DCM_SOPClassUID);
    if (sopClass.empty()) {
        return refusal("it has no SOPClassUID");
    }
    const auto type = recordTypeOf(sopClass, mFile.getDataset()->tagExists(DCM_Rows));
    if (!type) {
        return refusal("no directory lists its SOP class, " + sopClass);
    }
    if (value(DCM_SOPInstanceUID).empty()) {
        return refusal("it has no SOPInstanceUID");
    }
    if (metaValue(DCM_TransferSyntaxUID).empty()) { // a bare dataset
        mFile.validateMetaInfo(mFile.getDataset()->getOriginalXfer());
    }
    FileDescription description;
    description.instanceType = *type;
    if (standsAtTheRoot(*type)) {
        description.instanceRecord = record(ERT_root, *type);
        return description;
    }
    for (const DcmTagKey& key : {DCM_StudyInstanceUID, DCM_SeriesInstanceUID}) {
        if (value(key).empty()) {
            return refusal(std::string("it has no ") + DcmTag(key).getTagName());
        }
    }
    description.patientId = value(DCM_PatientID);
    description.patientName = value(DCM_PatientName);
    description.study = value(DCM_StudyInstanceUID);
    description.series = value(DCM_SeriesInstanceUID);
    description.instanceRecord = record(ERT_Series, *type);
    addUpperRecords(description, before);
    return description;
}

void Describer::addUpperRecords(FileDescription& description, const FileDescription* before) {
    const bool isSamePatient = before != nullptr && before->patientId == description.patientId &&
                               before->patientName == description.patientName;
    const bool isSameStudy = isSamePatient && before->study == description.study;
    const bool isSameSeries = isSameStudy && before->series == description.series;
    try {
        // The study may decide on the patient of a file without ID.
        description.patientRecord = isSameStudy ? "" : record(ERT_root, ERT_Patient);
        description.studyRecord = isSameStudy ? "" : record(ERT_Patient, ERT_Study);
        description.seriesRecord = isSameSeries ? "" : record(ERT_Study, ERT_Series);
    } catch (const std::exception& error) {
        description.reason = whyUnreadable(error);
    }
}

std::string Describer::record(E_DirRecType parent, E_DirRecType type) {
    const char* const anyFileId = "I0000000"; // the directory gives the right one
    DcmDirectoryRecord aside(parent, nullptr, OFFilename());
    DcmDirectoryRecord* const made = addRecord(&aside, type, &mFile, anyFileId, mPath.c_str());
    if (made == nullptr) {
        throw std::runtime_error("no " + std::string(recordTypeToName(type).c_str()) + " record can be made of them");
    }
    return toBytes(*made);
}

} // namespace

FileDescription describeFile(const std::string& path, bool hasMark, const FileDescription* before) {
    try {
        return Describer(path).describe(hasMark, before);
    } catch (const std::exception& error) {
        return {FileDescription::Refused, whyUnreadable(error)};
    }
}

} // namespace radvex::media
