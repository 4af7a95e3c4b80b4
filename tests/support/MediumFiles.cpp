#include "tests/support/MediumFiles.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdicdir.h"
#include "dcmtk/dcmdata/dcdirrec.h"

namespace radvex::test {

namespace {

void check(const OFCondition& condition, const std::string& what) {
    if (condition.bad()) {
        throw std::runtime_error(what + ": " + condition.text());
    }
}

void putText(DcmItem& item, const DcmTagKey& key, const std::string& text) {
    check(item.putAndInsertString(key, text.c_str()), "Cannot put " + text);
}

/// Puts the record and all below it under `parent`, which takes it over.
void append(DcmDirectoryRecord& parent, const MediumRecord& description) {
    // DCMTK lets a private record stand anywhere; the type that the file shall have is written over it.
    auto record = std::make_unique<DcmDirectoryRecord>(ERT_Private, nullptr, OFFilename());
    record->findAndDeleteElement(DCM_PrivateRecordUID);
    if (description.fill) {
        description.fill(*record);
    }
    for (const MediumRecord& lower : description.below) {
        append(*record, lower);
    }
    if (description.type.empty()) {
        record->findAndDeleteElement(DCM_DirectoryRecordType);
    } else {
        putText(*record, DCM_DirectoryRecordType, description.type);
    }
    check(parent.insertSub(record.get()), "Cannot insert a record " + description.type);
    (void)record.release();
}

MediumRecord record(const char* type, const FillItem& keys, const FillItem& more, std::vector<MediumRecord> below) {
    return {type,
            [keys, more](DcmItem& item) {
                keys(item);
                if (more) {
                    more(item);
                }
            },
            std::move(below)};
}

} // namespace

MediumRecord patientRecord(const std::string& id, const std::string& name, std::vector<MediumRecord> studies,
                           const FillItem& more) {
    const auto keys = [id, name](DcmItem& item) {
        putText(item, DCM_PatientID, id);
        putText(item, DCM_PatientName, name);
    };
    return record("PATIENT", keys, more, std::move(studies));
}

MediumRecord studyRecord(const std::string& uid, std::vector<MediumRecord> series, const FillItem& more) {
    const auto keys = [uid](DcmItem& item) {
        putText(item, DCM_StudyInstanceUID, uid);
        putText(item, DCM_StudyID, "1");
    };
    return record("STUDY", keys, more, std::move(series));
}

MediumRecord seriesRecord(const std::string& uid, const std::string& modality, std::vector<MediumRecord> images,
                          const FillItem& more) {
    const auto keys = [uid, modality](DcmItem& item) {
        putText(item, DCM_SeriesInstanceUID, uid);
        putText(item, DCM_Modality, modality);
        putText(item, DCM_SeriesNumber, "1");
    };
    return record("SERIES", keys, more, std::move(images));
}

MediumRecord imageRecord(const std::string& fileId, int instanceNumber, const FillItem& more) {
    const auto keys = [fileId, instanceNumber](DcmItem& item) {
        putText(item, DCM_ReferencedFileID, fileId);
        if (instanceNumber != 0) {
            putText(item, DCM_InstanceNumber, std::to_string(instanceNumber));
        }
    };
    return record("IMAGE", keys, more, {});
}

MediumRecord seriesOf(const std::string& uid, const std::vector<std::string>& fileIds) {
    std::vector<MediumRecord> images;
    images.reserve(fileIds.size());
    for (const std::string& fileId : fileIds) {
        images.push_back(imageRecord(fileId, 0));
    }
    return seriesRecord(uid, "CT", std::move(images));
}

std::string writeSlice(const TemporaryFolder& folder, const Slice& slice) {
    ImageFile file = slice.file;
    if (!slice.words.empty()) {
        file.words = slice.words;
    }
    file.more = [&](DcmDataset& dataset) {
        if (slice.number != 0) {
            put(dataset, {{DCM_InstanceNumber, std::to_string(slice.number)}});
        }
        if (!slice.position.empty()) {
            put(dataset, {{DCM_ImagePositionPatient, slice.position},
                          {DCM_ImageOrientationPatient, slice.orientation},
                          {DCM_PixelSpacing, "0.5\\0.25"}});
        }
        if (slice.file.more) {
            slice.file.more(dataset);
        }
    };
    return writeImageFile(mediumPath(folder, slice.fileId), file);
}

std::string writeMedium(const TemporaryFolder& folder, const std::vector<MediumRecord>& roots,
                        const std::string& name) {
    const std::string path = folder.file(name);
    std::filesystem::remove(path); // DCMTK would add to it
    DcmDicomDir medium(path.c_str(), "RADVEX");
    for (const MediumRecord& root : roots) {
        append(medium.getRootRecord(), root);
    }
    check(medium.write(), "Cannot write " + path);
    return path;
}

std::string mediumPath(const TemporaryFolder& folder, const std::string& fileId) {
    std::string name = fileId;
    std::replace(name.begin(), name.end(), '\\', '/');
    const std::string path = folder.file(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    return path;
}

} // namespace radvex::test
