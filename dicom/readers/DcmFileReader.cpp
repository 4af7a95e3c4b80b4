#include "dicom/readers/DcmFileReader.h"

#include "bridge/ErrorManager.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/metadata/MemoryWatch.h"

namespace radvex {

ResultList DcmFileReader::readPatientInfo(NameList& fields, const RegexFilter& filter) const {
    return readFields(fields, PATIENT_INFO_MAP, {matchingProperty(DCM_PatientID, filter.patient)});
}

ResultList DcmFileReader::readStudyInfo(NameList& fields, const RegexFilter& filter) const {
    return readFields(
        fields, STUDY_INFO_MAP,
        {matchingProperty(DCM_PatientID, filter.patient), matchingProperty(DCM_StudyInstanceUID, filter.study)});
}

ResultList DcmFileReader::readSeriesInfo(NameList& fields, const RegexFilter& filter) const {
    return readFields(fields, SERIES_INFO_MAP,
                      {matchingProperty(DCM_PatientID, filter.patient),
                       matchingProperty(DCM_StudyInstanceUID, filter.study),
                       matchingProperty(DCM_SeriesInstanceUID, filter.series)});
}

ResultList DcmFileReader::readFields(NameList& fields, const InfoTable& table,
                                     const std::vector<MatchingProperty>& tests) const {
    const MemoryWatch memory; // a value for which there is none would be left out
    ResultList result;
    for (const MatchingProperty& test : tests) {
        if (!test(dataset)) {
            return result; // what the filter leaves out is no error, and its fields are not looked at
        }
    }
    for (const std::string& field : GTU::asVector(fields)) {
        const auto known = table.find(field);
        if (known == table.end()) {
            GTU::ErrorManager::throwException("InvalidTagName", field);
        }
        decompressFor(known->second);
        DcmElement* element = nullptr;
        if (dataset->findAndGetElement(known->second, element, OFFalse, OFFalse).good()) {
            saveDcmElementToDataList(result, element, true, true, false);
        }
    }
    requireWhole();
    memory.require();
    return result;
}

// In the accessors a status that is not good leaves the default.

int DcmFileReader::getInstanceNumber() const {
    Sint32 number = 0;
    (void)dataset->findAndGetSint32(DCM_InstanceNumber, number, 0, OFFalse);
    return number;
}

int DcmFileReader::getFrameCount() const {
    decompressFor(DCM_NumberOfFrames);
    long count = 0;
    (void)dataset->findAndGetLongInt(DCM_NumberOfFrames, count, 0, OFFalse);
    return static_cast<int>(count);
}

unsigned int DcmFileReader::getRepresentativeFrame() const {
    Uint16 number = 0;
    (void)dataset->findAndGetUint16(DCM_RepresentativeFrameNumber, number, 0, OFFalse);
    return number;
}

int DcmFileReader::getOverlayCount() const {
    constexpr Uint16 kOverlayData = 0x3000;
    int count = 0;
    for (Uint16 group = 0x6000; group <= 0x601E; group = static_cast<Uint16>(group + 2)) {
        count += dataset->tagExists(DcmTagKey(group, kOverlayData), OFFalse) ? 1 : 0;
    }
    return count;
}

std::string DcmFileReader::readInfo(const DcmTagKey& key) const { return getItemStringArr(dataset, key); }

} // namespace radvex
