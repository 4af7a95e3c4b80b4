#include "dicom/readers/InfoTables.h"

#include "dcmtk/dcmdata/dcdeftag.h"

namespace radvex {

const InfoTable PATIENT_INFO_MAP{
    {"Name", DCM_PatientName},
    {"ID", DCM_PatientID},
    {"BirthDate", DCM_PatientBirthDate},
    {"BirthTime", DCM_PatientBirthTime},
    {"Sex", DCM_PatientSex},
    {"BirthName", DCM_PatientBirthName},
    {"Age", DCM_PatientAge},
    {"Size", DCM_PatientSize},
    {"BMI", DCM_PatientBodyMassIndex},
    {"Weight", DCM_PatientWeight},
    {"Address", DCM_PatientAddress},
    {"Orientation", DCM_PatientOrientation},
    {"State", DCM_PatientState},
};

const InfoTable STUDY_INFO_MAP{
    {"ID", DCM_StudyID},     {"UID", DCM_StudyInstanceUID},         {"Date", DCM_StudyDate},
    {"Time", DCM_StudyTime}, {"Description", DCM_StudyDescription}, {"Modalities", DCM_ModalitiesInStudy},
};

const InfoTable SERIES_INFO_MAP{
    {"UID", DCM_SeriesInstanceUID},         {"Date", DCM_SeriesDate},     {"Time", DCM_SeriesTime},
    {"Description", DCM_SeriesDescription}, {"Number", DCM_SeriesNumber}, {"Type", DCM_SeriesType},
};

} // namespace radvex
