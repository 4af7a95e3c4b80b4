// What the records of a directory say, without a look at the files.

#include "bridge/ErrorManager.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DirectoryTree.h"
#include "dicom/readers/StoreTree.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;
using TextList = GTU::DataList<VArgumentType::UTF8String, GTU::Passing::Manual>;

/// The fields of one record. Their names are looked at here and not before: without a record no name is wrong.
StoreTree readFields(DcmDirectoryRecord& record, NameList& fields, const InfoTable& table) {
    ResultList values;
    StoreTree owner(values.getInternal());
    for (const std::string& field : GTU::asVector(fields)) {
        const auto known = table.find(field);
        if (known == table.end()) {
            ErrorManager::throwException("InvalidTagName", field);
        }
        DcmElement* element = nullptr;
        if (record.findAndGetElement(known->second, element, OFFalse, OFFalse).good()) {
            saveDcmElementToDataList(values, element, true, true, false);
        }
    }
    return owner;
}

/// The finished tree as the result of a read.
ResultList release(StoreTree&& tree) {
    ResultList result(tree.getInternal());
    tree.setOwnedByLibrary(false);
    return result;
}

} // namespace

// Empty keys mean something else at every level here: patients and studies without one stay, as unnamed nodes, and a
// series without one is left out.

ResultList DcmDirReader::readPatientInfo(NameList& fields, const RegexFilter& filter) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        addStore(result, patientKey(patient), readFields(patient, fields, PATIENT_INFO_MAP));
    });
    return release(std::move(result));
}

ResultList DcmDirReader::readStudyInfo(NameList& fields, const RegexFilter& filter) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            addStore(studies, studyKey(study), readFields(study, fields, STUDY_INFO_MAP));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    return release(std::move(result));
}

ResultList DcmDirReader::readSeriesInfo(NameList& fields, const RegexFilter& filter) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            StoreTree allSeries;
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series) {
                StoreTree values = readFields(series, fields, SERIES_INFO_MAP);
                if (const std::string key = seriesKey(series); !key.empty()) {
                    addStore(allSeries, key, std::move(values));
                }
            });
            addStore(studies, studyKey(study), std::move(allSeries));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    return release(std::move(result));
}

void DcmDirReader::readStructure(GTU::VArgumentManager& manager, const RegexFilter& filter, bool absolute) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    const auto fileNames = [&](DcmDirectoryRecord& series) {
        TextList names;
        forEachRecord(series, [&](DcmDirectoryRecord& instance) {
            const std::string name = getDirectoryRecordFileName(&instance, absolute);
            GTU::Argument<VArgumentType::UTF8String>::addDataStoreNode(names.getInternal(), "", name.c_str());
        });
        return names;
    };
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            const std::string key = studyKey(study);
            if (key.empty()) {
                return; // its series are not looked at
            }
            StoreTree allSeries;
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series) {
                if (const std::string name = seriesKey(series); !name.empty()) {
                    addStore(allSeries, name, fileNames(series));
                }
            });
            addStore(studies, key, std::move(allSeries));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    manager.setResult(result);
}

} // namespace radvex
