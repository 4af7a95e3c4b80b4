#include "DirectoryBuilder.h"

#include <stdexcept>

#include "GuardedLoad.h"
#include "RecordTypes.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcfilefo.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcuid.h"

namespace radvex::study {

struct DirectoryBuilder::Source {
    std::string path;
    std::string fileId;
    DcmFileFormat file{};

    std::string value(const DcmTagKey& key) { return valueOf(*file.getDataset(), key); }
    std::string metaValue(const DcmTagKey& key) { return valueOf(*file.getMetaInfo(), key); }

    /// Puts the value of the meta information where the dataset has none.
    void complete(const DcmTagKey& key, const DcmTagKey& metaKey) {
        const std::string known = metaValue(metaKey);
        if (value(key).empty() && !known.empty()) {
            file.getDataset()->putAndInsertString(key, known.c_str());
        }
    }

  private:
    static std::string valueOf(DcmItem& item, const DcmTagKey& key) {
        OFString text;
        return item.findAndGetOFString(key, text).good() ? std::string(text.c_str(), text.size()) : std::string();
    }
};

namespace {

Addition refusal(const std::string& reason) { return {Addition::Refused, reason}; }

[[noreturn]] void failToWriteDirectory(const std::string& reason) {
    throw std::runtime_error("The DICOMDIR cannot be written: " + reason + ".");
}

} // namespace

DirectoryBuilder::DirectoryBuilder(const std::string& path)
    : mDirectory(std::make_unique<DcmDicomDir>(path.c_str(), "RADVEX")) {}

Addition DirectoryBuilder::add(const std::string& path, const std::string& fileId, bool hasMark) {
    Source source{path, fileId};
    try {
        const auto failure = loadGuarded(source.file, path);
        if (failure && failure->isRefused) {
            return refusal(failure->reason);
        }
        if (!failure) {
            if (source.metaValue(DCM_MediaStorageSOPClassUID) == UID_MediaStorageDirectoryStorage) {
                return {Addition::NotForADirectory, ""};
            }
            source.complete(DCM_SOPClassUID, DCM_MediaStorageSOPClassUID);
            source.complete(DCM_SOPInstanceUID, DCM_MediaStorageSOPInstanceUID);
        }
        if (!hasMark && (failure || source.value(DCM_SOPClassUID).empty())) {
            return {Addition::NotForADirectory, ""};
        }
        return failure ? refusal("it cannot be read: " + failure->reason) : addLoaded(source);
    } catch (const std::exception& error) { // DCMTK throws on some values: out_of_range, length_error
        return refusal(std::string("its values cannot be read: ") + error.what());
    }
}

Addition DirectoryBuilder::addLoaded(Source& source) {
    const std::string sopClass = source.value(DCM_SOPClassUID);
    if (sopClass.empty()) {
        return refusal("it has no SOPClassUID");
    }
    const auto type = recordTypeOf(sopClass, source.file.getDataset()->tagExists(DCM_Rows));
    if (!type) {
        return refusal("no directory lists its SOP class, " + sopClass);
    }
    if (source.value(DCM_SOPInstanceUID).empty()) {
        return refusal("it has no SOPInstanceUID");
    }
    if (source.metaValue(DCM_TransferSyntaxUID).empty()) { // a bare dataset
        source.file.validateMetaInfo(source.file.getDataset()->getOriginalXfer());
    }
    if (standsAtTheRoot(*type)) {
        insert(&mDirectory->getRootRecord(), newRecord(ERT_root, *type, source));
        return {};
    }
    for (const DcmTagKey& key : {DCM_StudyInstanceUID, DCM_SeriesInstanceUID}) {
        if (source.value(key).empty()) {
            return refusal(std::string("it has no ") + DcmTag(key).getTagName());
        }
    }
    insertBelowSeries(newRecord(ERT_Series, *type, source), source);
    return {};
}

/// Makes the records above that are new. All are made before any is inserted, so that a file that fails leaves no
/// patient, study or series without files behind.
void DirectoryBuilder::insertBelowSeries(NewRecord instance, Source& source) {
    const std::string study = source.value(DCM_StudyInstanceUID);
    const std::string patient = patientKey(source, study);
    struct Level {
        Records& records;
        std::string key;
        E_DirRecType type;
        NewRecord made;
    };
    Level levels[] = {{mPatients, patient, ERT_Patient, nullptr},
                      {mStudies, study, ERT_Study, nullptr},
                      {mSeries, source.value(DCM_SeriesInstanceUID), ERT_Series, nullptr}};
    DcmDirectoryRecord* parent = &mDirectory->getRootRecord();
    for (Level& level : levels) {
        const auto known = level.records.find(Key(parent, level.key));
        if (known == level.records.end()) {
            level.made = newRecord(parent->getRecordType(), level.type, source);
        }
        parent = level.made ? level.made.get() : known->second;
    }
    mPatientOfStudy.try_emplace(study, patient);
    parent = &mDirectory->getRootRecord();
    for (Level& level : levels) {
        DcmDirectoryRecord*& place = level.records[Key(parent, level.key)];
        if (level.made) {
            place = level.made.get();
            insert(parent, std::move(level.made));
        }
        parent = place;
    }
    insert(parent, std::move(instance));
}

/// The ID tells patients apart; without one the patient of the study when that is known, else the name.
std::string DirectoryBuilder::patientKey(Source& source, const std::string& study) const {
    const std::string id = source.value(DCM_PatientID);
    if (!id.empty()) {
        return "id " + id;
    }
    const auto known = mPatientOfStudy.find(study);
    if (known != mPatientOfStudy.end()) {
        return known->second;
    }
    const std::string name = source.value(DCM_PatientName);
    return name.empty() ? "study " + study : "name " + name;
}

DirectoryBuilder::NewRecord DirectoryBuilder::newRecord(E_DirRecType parent, E_DirRecType type, Source& source) {
    // Below a record of its own DCMTK has nothing to look through.
    DcmDirectoryRecord aside(parent, nullptr, OFFilename());
    if (addRecord(&aside, type, &source.file, source.fileId.c_str(), source.path.c_str()) == nullptr) {
        throw std::runtime_error("no " + std::string(recordTypeToName(type).c_str()) + " record can be made of them");
    }
    NewRecord record(aside.removeSub(0UL));
    if (record->tagExists(DCM_ReferencedFileID)) { // DCMTK leaves out what a File ID should not hold, dots for one
        record->putAndInsertString(DCM_ReferencedFileID, source.fileId.c_str());
    }
    return record;
}

void DirectoryBuilder::insert(DcmDirectoryRecord* parent, NewRecord record) {
    if (parent->insertSub(record.get()).bad()) {
        throw std::runtime_error(std::string("a record cannot be inserted: ") + parent->error().text());
    }
    (void)record.release();
    ++mRecordCount;
}

void DirectoryBuilder::write() {
    inventMissingAttributes(&mDirectory->getRootRecord());
    const std::string path = mDirectory->getDirFileName().getCharPointer();
    if (const OFCondition written = mDirectory->write(); written.bad()) {
        failToWriteDirectory(written.text());
    }
    // DCMTK does not look whether the bytes reached the disk.
    DcmFileFormat file;
    if (const auto failure = loadGuarded(file, path)) {
        failToWriteDirectory(failure->reason);
    }
    DcmSequenceOfItems* records = nullptr;
    if (file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).bad() ||
        records->card() != mRecordCount) {
        failToWriteDirectory("it came out short");
    }
}

} // namespace radvex::study
