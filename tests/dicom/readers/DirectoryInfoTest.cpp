#include "tests/dicom/readers/DirectoryTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class DirectoryInfo : public DirectoryTest {
  protected:
    std::string patients(const std::vector<std::string>& fields, const Patterns& patterns = {}) {
        return line("ReadPatientInfo", {path, Store::ofTexts(fields), patterns.patient});
    }
    std::string studies(const std::vector<std::string>& fields, const Patterns& patterns = {}) {
        return line("ReadStudyInfo", {path, Store::ofTexts(fields), patterns.patient, patterns.study});
    }
    std::string series(const std::vector<std::string>& fields, const Patterns& patterns = {}) {
        return line("ReadSeriesInfo",
                    {path, Store::ofTexts(fields), patterns.patient, patterns.study, patterns.series});
    }
    /// The result in one line, or the message of the error.
    std::string line(const std::string& function, std::vector<Value> arguments) {
        try {
            return outline(call(function, std::move(arguments)).get<Store>().view());
        } catch (const LibraryError& error) {
            return error.what();
        }
    }

    void writeTwoPatients() {
        writeDirectory({patientRecord("P1", "Doe^Jane",
                                      {studyRecord("1.2", {seriesOf("1.2.3", {"A"}), seriesOf("1.2.4", {"B"})},
                                                   with({{DCM_StudyDate, "20200102"}}))},
                                      with({{DCM_PatientSex, "F"}})),
                        patientRecord("P2", "Roe^Rick", {studyRecord("1.3", {seriesOf("1.3.1", {"C"})})})});
    }
};

const auto kNoPatient = without({DCM_PatientID, DCM_PatientName});
const auto kNoStudy = without({DCM_StudyInstanceUID, DCM_StudyID});
const auto kNoSeries = without({DCM_SeriesInstanceUID, DCM_SeriesNumber});
const std::string kNoSuchField = "Attribute tag named Nonsense does not exist.";

} // namespace

TEST_F(DirectoryInfo, ComesFromTheRecordsUnderTheirKeysAndTheAttributesNames) {
    writeTwoPatients();
    EXPECT_EQ(patients({"Name", "Sex", "Weight"}), "P1{PatientName=Doe^Jane,PatientSex=F},P2{PatientName=Roe^Rick}");
    EXPECT_EQ(studies({"Date", "ID"}), "P1{1.2{StudyDate=20200102,StudyID=1}},P2{1.3{StudyID=1}}");
    EXPECT_EQ(series({"UID", "Number"}),
              "P1{1.2{1.2.3{SeriesInstanceUID=1.2.3,SeriesNumber=1},1.2.4{SeriesInstanceUID=1.2.4,SeriesNumber=1}}},"
              "P2{1.3{1.3.1{SeriesInstanceUID=1.3.1,SeriesNumber=1}}}");
    EXPECT_EQ(series({}), "P1{1.2{1.2.3{},1.2.4{}}},P2{1.3{1.3.1{}}}");
}

TEST_F(DirectoryInfo, NeverOpensAReferencedFile) {
    writeFiles({{"A", 1, {.words = {1}, .more = with({{DCM_PatientSex, "O"}})}}});
    ledger().refuseNothing();
    EXPECT_EQ(patients({"Sex", "ID"}), "P{PatientID=P}");
    EXPECT_EQ(studies({"ID"}), "P{1{StudyID=1}}");
    EXPECT_EQ(series({"Number"}), "P{1{1.1{SeriesNumber=1}}}");
    EXPECT_EQ(ledger().calls(Operation::validatePath), 1) << "for the DICOMDIR alone";
}

TEST_F(DirectoryInfo, WhatLiesInsideASequenceOfARecordIsNotItsOwn) {
    writeDirectory({patientRecord("P", "N", {}, [](DcmItem& item) {
        put(addItem(item, DCM_ReferencedPatientSequence), {{DCM_PatientSex, "F"}});
    })});
    EXPECT_EQ(patients({"Sex", "ID"}), "P{PatientID=P}");
}

TEST_F(DirectoryInfo, PatternsLeaveOutAndUpperLevelsStayEmpty) {
    writeTwoPatients();
    EXPECT_EQ(patients({"ID"}, {.patient = "P2"}), "P2{PatientID=P2}");
    EXPECT_EQ(studies({"ID"}, {.study = "9"}), "P1{},P2{}");
    EXPECT_EQ(studies({"ID"}, {.patient = "P2", .study = "1.*"}), "P2{1.3{StudyID=1}}");
    EXPECT_EQ(series({"Number"}, {.series = "1.3.1"}), "P1{1.2{}},P2{1.3{1.3.1{SeriesNumber=1}}}");
    EXPECT_EQ(series({"Number"}, {.patient = "P1", .series = "1.3.1"}), "P1{1.2{}}");
    EXPECT_EQ(series({"Number"}, {.study = "1.3", .series = "1.2.3"}), "P1{},P2{1.3{}}");
}

TEST_F(DirectoryInfo, ASecondKeyStandsInForTheFirst) {
    writeDirectory({patientRecord("P", "Doe^Jane",
                                  {studyRecord("1",
                                               {seriesRecord("1.1", "CT", {},
                                                             [](DcmItem& item) {
                                                                 item.findAndDeleteElement(DCM_SeriesInstanceUID);
                                                                 item.putAndInsertString(DCM_SeriesNumber, "4");
                                                             })},
                                               without({DCM_StudyInstanceUID}))},
                                  without({DCM_PatientID}))});
    EXPECT_EQ(patients({"Name"}), "Doe^Jane{PatientName=Doe^Jane}");
    EXPECT_EQ(patients({"Name"}, {.patient = "Doe.*"}), "") << "filtered on the PatientID, which is empty";
    EXPECT_EQ(studies({}), "Doe^Jane{1{}}");
    EXPECT_EQ(series({"Number"}), "Doe^Jane{1{4{SeriesNumber=4}}}");
}

TEST_F(DirectoryInfo, PatientsAndStudiesWithoutAKeyAreUnnamedAndSeriesAreLeftOut) {
    writeDirectory({patientRecord(
        "", "", {studyRecord("", {seriesRecord("", "CT", {}, kNoSeries), seriesOf("1.1", {})}, kNoStudy)},
        kNoPatient)});
    EXPECT_EQ(patients({}), "{}");
    EXPECT_EQ(studies({}), "{{}}");
    EXPECT_EQ(series({}), "{{1.1{}}}");
    const Value result = call("ReadStudyInfo", {path, Store::ofTexts({}), ".*", ".*"});
    EXPECT_THAT(keysOf(result.get<Store>().view()), ElementsAre(""));
    EXPECT_THAT(keysOf(storeAt(result.get<Store>().view(), 0)), ElementsAre(""));
}

TEST_F(DirectoryInfo, EqualKeysAreSeveralNodes) {
    writeDirectory({patientRecord("P", "A", {}), patientRecord("P", "B", {})});
    EXPECT_EQ(patients({"Name"}), "P{PatientName=A},P{PatientName=B}");
}

TEST_F(DirectoryInfo, ABadFieldIsAnErrorOnceARecordAsksForIt) {
    writeTwoPatients();
    EXPECT_EQ(patients({"Name", "Nonsense"}), kNoSuchField);
    EXPECT_EQ(studies({"Nonsense"}), kNoSuchField);
    EXPECT_EQ(series({"Nonsense"}), kNoSuchField);
    EXPECT_EQ(series({"Modalities"}), "Attribute tag named Modalities does not exist.") << "a field of a study";
    EXPECT_EQ(patients({"Nonsense"}, {.patient = "X"}), "");
    EXPECT_EQ(studies({"Nonsense"}, {.study = "X"}), "P1{},P2{}");
    EXPECT_EQ(series({"Nonsense"}, {.series = "X"}), "P1{1.2{}},P2{1.3{}}");
    EXPECT_EQ(codeOf("ReadPatientInfo", {path, Store::ofTexts({"Nonsense"}), ".*"}), -64);
}

TEST_F(DirectoryInfo, ABadFieldGoesUnnoticedWithoutRecords) {
    writeDirectory({});
    EXPECT_EQ(patients({"Nonsense"}), "");
    writeDirectory({patientRecord("P", "N", {})});
    EXPECT_EQ(studies({"Nonsense"}), "P{}");
    EXPECT_EQ(series({"Nonsense"}), "P{}");
}

TEST_F(DirectoryInfo, ASeriesThatIsLeftOutStillNamesABadField) {
    writeSeries({seriesRecord("", "CT", {}, kNoSeries)});
    EXPECT_EQ(series({}), "P{1{}}");
    EXPECT_EQ(series({"Nonsense"}), kNoSuchField);
}

TEST_F(DirectoryInfo, ValuesAndKeysAreInUtf8) {
    writeDirectory({patientRecord("J\xF6rg", "M\xFCller", {}, [](DcmItem& item) {
        item.putAndInsertString(DCM_SpecificCharacterSet, "ISO_IR 100");
    })});
    EXPECT_EQ(patients({"Name"}, {.patient = "J\xC3\xB6rg"}), "J\xC3\xB6rg{PatientName=M\xC3\xBCller}");
    EXPECT_EQ(studies({}), "J\xC3\xB6rg{}");
    EXPECT_EQ(series({}), "J\xC3\xB6rg{}");
}

TEST_F(DirectoryInfo, ABadPathIsReportedBeforeABadPattern) {
    writeTwoPatients();
    EXPECT_EQ(codeOf("ReadSeriesInfo", {path, Store::ofTexts({}), ".*", ".*", "("}), 6);
    EXPECT_EQ(codeOf("ReadStudyInfo", {path, Store::ofTexts({}), ".*", "("}), 6);
    EXPECT_EQ(codeOf("ReadSeriesInfo", {folder.file("X/DICOMDIR"), Store::ofTexts({}), "(", ".*", ".*"}), -62);
}
