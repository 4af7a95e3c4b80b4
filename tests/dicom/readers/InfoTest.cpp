#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;
using testing::IsEmpty;

namespace {

class Info : public LibraryTest {
  protected:
    Store patient(const std::vector<std::string>& fields, const std::string& pattern = ".*") {
        return std::get<Store>(call("ReadPatientInfo", {path, Store::ofTexts(fields), pattern}));
    }
    Store study(const std::vector<std::string>& fields, const std::string& patientPattern = ".*",
                const std::string& studyPattern = ".*") {
        return std::get<Store>(call("ReadStudyInfo", {path, Store::ofTexts(fields), patientPattern, studyPattern}));
    }
    Store series(const std::vector<std::string>& fields, const std::string& patientPattern = ".*",
                 const std::string& studyPattern = ".*", const std::string& seriesPattern = ".*") {
        return std::get<Store>(
            call("ReadSeriesInfo", {path, Store::ofTexts(fields), patientPattern, studyPattern, seriesPattern}));
    }
    /// A file with a value of its own for each attribute that has a field, and for some that look like one.
    void writeEveryAttribute() {
        path = writeDicom(folder.file("every.dcm"), with({{DCM_PatientName, "Doe^Jane"},
                                                          {DCM_PatientID, "ABC"},
                                                          {DCM_PatientBirthDate, "19700102"},
                                                          {DCM_PatientBirthTime, "030405"},
                                                          {DCM_PatientSex, "F"},
                                                          {DCM_PatientBirthName, "Roe^Jane"},
                                                          {DCM_PatientAge, "050Y"},
                                                          {DCM_PatientSize, "1.75"},
                                                          {DCM_PatientBodyMassIndex, "22.9"},
                                                          {DCM_PatientWeight, "70.1"},
                                                          {DCM_PatientAddress, "1 Main Street"},
                                                          {DCM_PatientOrientation, "L\\P"},
                                                          {DCM_PatientState, "asleep"},
                                                          {DCM_StudyID, "S1"},
                                                          {DCM_StudyInstanceUID, "1.2.3"},
                                                          {DCM_StudyDate, "20200304"},
                                                          {DCM_StudyTime, "050607"},
                                                          {DCM_StudyDescription, "a study"},
                                                          {DCM_ModalitiesInStudy, "CT\\MR"},
                                                          {DCM_SeriesInstanceUID, "1.2.3.4"},
                                                          {DCM_SeriesDate, "20210506"},
                                                          {DCM_SeriesTime, "070809"},
                                                          {DCM_SeriesDescription, "a series"},
                                                          {DCM_SeriesNumber, "7"},
                                                          {DCM_SeriesType, "GATED\\IMAGE"},
                                                          {DCM_ContentDate, "20220607"},
                                                          {DCM_ContentTime, "080910"},
                                                          {DCM_Modality, "PT"},
                                                          {DCM_InstanceNumber, "8"}}));
    }
    std::string path = writeDicom(folder.file("a.dcm"), with({{DCM_PatientName, "Doe^Jane"},
                                                              {DCM_PatientBirthDate, "19700102"},
                                                              {DCM_PatientID, "ABC"},
                                                              {DCM_StudyID, "S1"},
                                                              {DCM_StudyInstanceUID, "1.2.3"},
                                                              {DCM_ModalitiesInStudy, "CT\\MR"},
                                                              {DCM_SeriesInstanceUID, "1.2.3.4"},
                                                              {DCM_SeriesNumber, "7"}}));
};

} // namespace

TEST_F(Info, FieldsComeInTheirOrderUnderTheAttributesKeys) {
    const Store result = patient({"Name", "BirthDate"});
    EXPECT_THAT(keysOf(result.view()), ElementsAre("PatientName", "PatientBirthDate"));
    EXPECT_EQ(textOf(result.view(), "PatientBirthDate"), "19700102");
}

TEST_F(Info, EachFieldOfAPatientIsAnAttributeOfItsOwn) {
    writeEveryAttribute();
    EXPECT_EQ(outline(patient({"Name", "ID", "BirthDate", "BirthTime", "Sex", "BirthName", "Age", "Size", "BMI",
                               "Weight", "Address", "Orientation", "State"})
                          .view()),
              "PatientName=Doe^Jane,PatientID=ABC,PatientBirthDate=19700102,PatientBirthTime=030405,PatientSex=F,"
              "PatientBirthName=Roe^Jane,PatientAge=050Y,PatientSize=1.75,PatientBodyMassIndex=22.9,PatientWeight=70.1,"
              "PatientAddress=1 Main Street,PatientOrientation=L\\P,PatientState=asleep");
}

TEST_F(Info, EachFieldOfAStudyIsAnAttributeOfItsOwn) {
    writeEveryAttribute();
    EXPECT_EQ(outline(study({"ID", "UID", "Date", "Time", "Description", "Modalities"}).view()),
              "StudyID=S1,StudyInstanceUID=1.2.3,StudyDate=20200304,StudyTime=050607,StudyDescription=a study,"
              "ModalitiesInStudy=CT\\MR");
}

TEST_F(Info, EachFieldOfASeriesIsAnAttributeOfItsOwn) {
    writeEveryAttribute();
    EXPECT_EQ(outline(series({"UID", "Date", "Time", "Description", "Number", "Type"}).view()),
              "SeriesInstanceUID=1.2.3.4,SeriesDate=20210506,SeriesTime=070809,SeriesDescription=a series,"
              "SeriesNumber=7,SeriesType=GATED\\IMAGE");
}

TEST_F(Info, AFieldThatTheFileLacksLeavesNoNode) {
    EXPECT_THAT(keysOf(patient({"Sex", "Name", "Weight", "ID"}).view()), ElementsAre("PatientName", "PatientID"));
}

TEST_F(Info, NoFieldsGiveAnEmptyStore) { EXPECT_EQ(patient({}).size(), 0U); }

TEST_F(Info, TheSameFieldMeansAnotherAttributeAtEachLevel) {
    EXPECT_EQ(textOf(patient({"ID"}).view(), "PatientID"), "ABC");
    EXPECT_EQ(textOf(study({"ID"}).view(), "StudyID"), "S1");
    EXPECT_EQ(textOf(study({"UID"}).view(), "StudyInstanceUID"), "1.2.3");
    EXPECT_EQ(textOf(series({"UID"}).view(), "SeriesInstanceUID"), "1.2.3.4");
    EXPECT_EQ(textOf(series({"Number"}).view(), "SeriesNumber"), "7");
    EXPECT_EQ(textOf(study({"Modalities"}).view(), "ModalitiesInStudy"), "CT\\MR");
}

TEST_F(Info, AFieldOfAnotherLevelIsRefusedByName) {
    EXPECT_EQ(messageOf("ReadSeriesInfo", {path, Store::ofTexts({"Modalities"}), ".*", ".*", ".*"}),
              "Attribute tag named Modalities does not exist.");
    EXPECT_EQ(codeOf("ReadSeriesInfo", {path, Store::ofTexts({"ID"}), ".*", ".*", ".*"}), -64);
    EXPECT_EQ(codeOf("ReadStudyInfo", {path, Store::ofTexts({"Name"}), ".*", ".*"}), -64);
    EXPECT_EQ(codeOf("ReadPatientInfo", {path, Store::ofTexts({"name"}), ".*"}), -64);
}

TEST_F(Info, EachPatternCanLeaveTheFileOut) {
    EXPECT_EQ(patient({"ID"}, "XYZ").size(), 0U);
    EXPECT_EQ(study({"ID"}, "ABC", "9.*").size(), 0U);
    EXPECT_EQ(study({"ID"}, "XYZ", ".*").size(), 0U);
    EXPECT_EQ(series({"UID"}, "ABC", "1.2.3", "9.*").size(), 0U);
    EXPECT_EQ(series({"UID"}, "ABC", "9.*", "1.2.3.4").size(), 0U);
    EXPECT_EQ(series({"UID"}, "ABC", "1.2.3", "1.2.3.4").size(), 1U);
}

TEST_F(Info, APatternIsNotTriedWhenTheOneAboveDidNotMatch) {
    EXPECT_EQ(codeOf("ReadSeriesInfo", {path, Store::ofTexts({"UID"}), "ABC", "1.2.3", kFailsWhenTried}), 6);
    EXPECT_EQ(series({"UID"}, "ABC", "9", kFailsWhenTried).size(), 0U);
    EXPECT_EQ(series({"UID"}, "XYZ", kFailsWhenTried, kFailsWhenTried).size(), 0U);
    EXPECT_EQ(codeOf("ReadStudyInfo", {path, Store::ofTexts({"UID"}), "ABC", kFailsWhenTried}), 6);
    EXPECT_EQ(study({"UID"}, "XYZ", kFailsWhenTried).size(), 0U);
}

TEST_F(Info, APatternMatchesTheWholeValueAndItsCase) {
    EXPECT_EQ(patient({"ID"}, "AB").size(), 0U);
    EXPECT_EQ(patient({"ID"}, "abc").size(), 0U);
    EXPECT_EQ(patient({"ID"}, "[A-C]+").size(), 1U);
}

TEST_F(Info, AFileThatIsLeftOutHidesABadField) { EXPECT_EQ(patient({"NoSuchField"}, "XYZ").size(), 0U); }

TEST_F(Info, AFileWithoutPatientIdMatchesEverythingButAPatternThatNeedsACharacter) {
    path = writeDicom(folder.file("b.dcm"), with({{DCM_PatientName, "Doe^Jane"}}));
    EXPECT_EQ(patient({"Name"}).size(), 1U);
    EXPECT_EQ(patient({"Name"}, ".+").size(), 0U);
}

TEST_F(Info, ABadPathIsReportedBeforeABadPattern) {
    EXPECT_EQ(codeOf("ReadPatientInfo", {"/missing", Store::ofTexts({}), "("}), -62);
    EXPECT_EQ(codeOf("ReadPatientInfo", {path, Store::ofTexts({}), "("}), 6);
    EXPECT_EQ(codeOf("ReadPatientInfo", {path, Store::ofTexts({}), std::string(1025, 'a')}), 6);
}

TEST_F(Info, ADirectoryWithoutRecordsIsEmpty) {
    path = writeDicom(folder.file("DICOMDIR"), {});
    const Value patients = call("ReadPatientInfo", {path, Store::ofTexts({"Nonsense"}), ".*"});
    EXPECT_THAT(keysOf(patients.get<Store>().view()), IsEmpty());
}
