#include "media/dicomdir/DirectoryBuilder.h"

#include <stdexcept>
#include <system_error>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcfilefo.h"
#include "files/OutputFile.h"
#include "guard/GuardedLoad.h"
#include "media/dicomdir/FileRecords.h"

namespace radvex::media {

namespace {

/// @param reason  where the system has none: DCMTK does not ask it
[[noreturn]] void failToWriteDirectory(const std::string& path, const std::string& reason) {
    const int systems = files::whyNotLonger(path);
    throw std::runtime_error(
        "The DICOMDIR cannot be written: " + (systems == 0 ? reason : std::generic_category().message(systems)) + ".");
}

} // namespace

DirectoryBuilder::DirectoryBuilder(const std::string& path)
    : mDirectory(std::make_unique<DcmDicomDir>(path.c_str(), "RADVEX")) {}

std::array<DirectoryBuilder::Level, 3> DirectoryBuilder::levelsOf(const FileDescription& file) {
    return {{{mPatients, mPatientKeys.keyOf(file), ERT_Patient, file.patientRecord},
             {mStudies, file.study, ERT_Study, file.studyRecord},
             {mSeries, file.series, ERT_Series, file.seriesRecord}}};
}

bool DirectoryBuilder::lacksRecords(const FileDescription& file) {
    if (file.series.empty()) {
        return false;
    }
    DcmDirectoryRecord* parent = &mDirectory->getRootRecord(); // null: a new record, which has no children
    for (const Level& level : levelsOf(file)) {
        const auto known = level.records.find(Key(parent, level.key));
        parent = known == level.records.end() ? nullptr : known->second;
        if (parent == nullptr && level.bytes.empty()) {
            return true;
        }
    }
    return false;
}

void DirectoryBuilder::add(const FileDescription& file, const std::string& fileId) {
    NewRecord instance = recordOfBytes(static_cast<E_DirRecType>(file.instanceType), file.instanceRecord);
    // Set here, since the record was made with another one, and DCMTK drops characters such as dots from a File ID.
    if (instance->tagExists(DCM_ReferencedFileID)) {
        instance->putAndInsertString(DCM_ReferencedFileID, fileId.c_str());
    }
    if (file.series.empty()) {
        insert(&mDirectory->getRootRecord(), std::move(instance));
    } else {
        insertBelowSeries(std::move(instance), file);
    }
}

/// Makes the missing parent records. All are made before any is inserted, so that a file that fails leaves no patient,
/// study or series without files.
void DirectoryBuilder::insertBelowSeries(NewRecord instance, const FileDescription& file) {
    auto levels = levelsOf(file);
    DcmDirectoryRecord* parent = &mDirectory->getRootRecord();
    for (Level& level : levels) {
        const auto known = level.records.find(Key(parent, level.key));
        if (known == level.records.end()) {
            if (level.bytes.empty()) {
                throw std::runtime_error(file.reason);
            }
            level.made = recordOfBytes(level.type, level.bytes);
        }
        parent = level.made ? level.made.get() : known->second;
    }
    parent = &mDirectory->getRootRecord();
    for (Level& level : levels) {
        DcmDirectoryRecord*& record = level.records[Key(parent, level.key)];
        if (level.made) {
            record = level.made.get();
            insert(parent, std::move(level.made));
        }
        parent = record;
    }
    insert(parent, std::move(instance));
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
        failToWriteDirectory(path, written.text());
    }
    // DCMTK does not check whether the bytes reached the disk.
    DcmFileFormat file;
    if (const auto failure = loadGuarded(file, path)) {
        failToWriteDirectory(path, failure->reason);
    }
    DcmSequenceOfItems* records = nullptr;
    if (file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).bad() ||
        records->card() != mRecordCount) {
        failToWriteDirectory(path, "it is incomplete");
    }
}

} // namespace radvex::media
