#include <filesystem>

#include "tests/dicom/readers/DirectoryTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class DirectoryStructure : public DirectoryTest {
  protected:
    /// Two patients; the second has two studies, and the same series stands below both patients.
    void writeTwoPatients() {
        writeDirectory({patientRecord("P1", "Doe^Jane", {studyRecord("1.2", {seriesOf("1.2.3", {"A", "B"})})}),
                        patientRecord("P2", "Roe^Rick",
                                      {studyRecord("1x2", {seriesOf("1.2.3", {"C"})}),
                                       studyRecord("1.2.3", {seriesOf("9", {})})})});
    }
};

} // namespace

TEST_F(DirectoryStructure, IsInDirectoryOrderWithEmptyLevels) {
    writeTwoPatients();
    EXPECT_EQ(structureLine(), "P1{1.2{1.2.3{A,B}}},P2{1x2{1.2.3{C}},1.2.3{9{}}}");
    writeDirectory({});
    EXPECT_EQ(structureLine(), "");
}

TEST_F(DirectoryStructure, FilesAreUnnamedTextsThatAreNeitherSortedNorMadeUnique) {
    writeSeries({seriesRecord("1.1", "CT", {imageRecord("C", 3), imageRecord("A", 1), imageRecord("C", 3)})});
    EXPECT_EQ(structureLine(), "P{1{1.1{C,A,C}}}");
    const Store tree = structure();
    for (const NodeView file : storeAt(tree.view(), {0, 0, 0})) {
        EXPECT_EQ(file.name(), "");
        EXPECT_EQ(file.type(), VType_UTF8String);
    }
}

TEST_F(DirectoryStructure, FileIdsBecomePathsBelowTheDirectoryOrWithItsOwnPath) {
    writeFileIds({"DICOM\\ST000\\SE000\\IM000"});
    EXPECT_EQ(structureLine(), "P{1{1.1{DICOM/ST000/SE000/IM000}}}");
    EXPECT_EQ(outline(structure({}, true).view()), "P{1{1.1{" + folder.path().string() + "/DICOM/ST000/SE000/IM000}}}");
}

TEST_F(DirectoryStructure, AbsolutePathsStartAsTheDirectoryWasOpened) {
    writeFileIds({"A\\B"});
    path = folder.path().string() + "/./DICOMDIR";
    EXPECT_EQ(outline(structure({}, true).view()), "P{1{1.1{" + folder.path().string() + "/./A/B}}}");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    path = "DICOMDIR";
    EXPECT_EQ(outline(structure({}, true).view()), "P{1{1.1{A/B}}}");
    std::filesystem::current_path(before);
}

TEST_F(DirectoryStructure, TheFileMayBeAnythingThatEndsInTheName) {
    for (const char* name : {"dicomdir", "scan.DICOMDIR"}) {
        path = writeMedium(folder, {patientRecord("P", "", {})}, name);
        EXPECT_EQ(structureLine(), "P{}") << name;
    }
    // The last eight characters are cut, whatever stands before them.
    path = writeMedium(folder, {patientRecord("P", "", {studyRecord("1", {seriesOf("1.1", {"A"})})})}, "scan.DICOMDIR");
    call("ClearCache");
    EXPECT_EQ(outline(structure({}, true).view()), "P{1{1.1{" + folder.file("scan.A") + "}}}");
}

TEST_F(DirectoryStructure, NamesKeepTheirCaseAndSpacesInside) {
    writeFileIds({"a b\\C.dcm", "UP\\low"});
    EXPECT_EQ(structureLine(), "P{1{1.1{a b/C.dcm,UP/low}}}");
}

TEST_F(DirectoryStructure, ARecordWithoutAFileNameGivesTheFolderOfTheDirectory) {
    writeSeries(
        {seriesRecord("1.1", "CT", {imageRecord("A", 0, without({DCM_ReferencedFileID})), imageRecord("", 0)})});
    EXPECT_EQ(outline(structure({}, true).view()),
              "P{1{1.1{" + folder.path().string() + "/," + folder.path().string() + "/}}}");
    const Store tree = structure();
    const StoreView files = storeAt(tree.view(), {0, 0, 0});
    ASSERT_EQ(files.size(), 2U);
    EXPECT_STREQ((*files.begin()).cell().utf8String, "");
}

TEST_F(DirectoryStructure, NothingBelowTheDirectoryIsOpened) {
    writeFileIds({"MISSING"});
    ledger().refuseNothing();
    EXPECT_EQ(structureLine(), "P{1{1.1{MISSING}}}");
    EXPECT_EQ(ledger().calls(Operation::validatePath), 1) << "for the DICOMDIR alone";
}

TEST_F(DirectoryStructure, LevelsHaveASecondKeyForWhenTheFirstIsAbsentOrEmpty) {
    for (const bool absent : {true, false}) {
        const auto lacking = [&](const DcmTagKey& key) { return absent ? without({key}) : with({{key, ""}}); };
        const auto number4 = [&](DcmItem& item) {
            lacking(DCM_SeriesInstanceUID)(item);
            item.putAndInsertString(DCM_SeriesNumber, "4");
        };
        writeDirectory({patientRecord("P", "Doe^Jane",
                                      {studyRecord("1", {seriesRecord("1.1", "CT", {imageRecord("A", 0)}, number4)},
                                                   lacking(DCM_StudyInstanceUID))},
                                      lacking(DCM_PatientID))});
        EXPECT_EQ(structureLine(), "Doe^Jane{1{4{A}}}");
    }
}

TEST_F(DirectoryStructure, OnlyThePatientMayBeWithoutAnyKey) {
    const auto noStudyKey = without({DCM_StudyInstanceUID, DCM_StudyID});
    const auto noSeriesKey = without({DCM_SeriesInstanceUID, DCM_SeriesNumber});
    writeDirectory({patientRecord(
        "P", "N",
        {studyRecord("1", {seriesOf("1.1", {"A"}), seriesRecord("", "CT", {imageRecord("B", 0)}, noSeriesKey)}),
         studyRecord("", {seriesOf("2.1", {"C"})}, noStudyKey)},
        without({DCM_PatientID, DCM_PatientName}))});
    EXPECT_EQ(structureLine(), "{1{1.1{A}}}");
}

TEST_F(DirectoryStructure, APatternMatchesTheWholeOfTheFirstKeyAndItsCase) {
    writeTwoPatients();
    EXPECT_EQ(structureLine({.patient = "P2", .study = "1.2"}), "P2{1x2{1.2.3{C}}}") << "a dot is any character";
    EXPECT_EQ(structureLine({.patient = "P1", .study = "1.2"}), "P1{1.2{1.2.3{A,B}}}");
    EXPECT_EQ(structureLine({.patient = "P2", .study = "1\\.2"}), "P2{}") << "1.2.3 is more than the pattern";
    EXPECT_EQ(structureLine({.patient = "p1"}), "");
    EXPECT_EQ(structureLine({.patient = "[P]\\d"}), structureLine());
    EXPECT_EQ(structureLine({.series = "9"}), "P1{1.2{}},P2{1x2{},1.2.3{9{}}}") << "empty levels stay";
    EXPECT_EQ(structureLine({.patient = ""}), "");
}

TEST_F(DirectoryStructure, ARejectedLevelHidesWhatIsBelowIt) {
    writeTwoPatients();
    EXPECT_EQ(structureLine({.patient = "P2", .study = "1.2.3", .series = "1.2.3"}), "P2{1.2.3{}}");
    EXPECT_EQ(structureLine({.patient = "P3", .series = "1.2.3"}), "");
}

TEST_F(DirectoryStructure, AnAbsentFirstKeyIsFilteredAsTheEmptyText) {
    writeDirectory({patientRecord("P", "Doe^Jane", {}, without({DCM_PatientID})), patientRecord("Q", "", {})});
    EXPECT_EQ(structureLine(), "Doe^Jane{},Q{}");
    EXPECT_EQ(structureLine({.patient = ".+"}), "Q{}");
    EXPECT_EQ(structureLine({.patient = "Doe.*"}), "") << "the second key is no subject of a filter";
    EXPECT_EQ(structureLine({.patient = ""}), "Doe^Jane{}");
}

TEST_F(DirectoryStructure, LevelsAreTheDepthOfARecordAndNotItsType) {
    writeDirectory({{"IMAGE",
                     with({{DCM_PatientID, "P"}}),
                     {{"PATIENT",
                       with({{DCM_StudyInstanceUID, "1"}}),
                       {{"",
                         with({{DCM_SeriesInstanceUID, "1.1"}}),
                         {{"SERIES",
                           with({{DCM_ReferencedFileID, "A"}}),
                           {{"IMAGE", with({{DCM_ReferencedFileID, "BELOW"}}), {}}}},
                          {"NOTHING KNOWN", with({{DCM_ReferencedFileID, "B"}}), {}}}}}}}}});
    EXPECT_EQ(structureLine(), "P{1{1.1{A,B}}}");
}

TEST_F(DirectoryStructure, EachRecordHasItsOwnCharacterSet) {
    const std::string latin = "Jos\xE9";
    const std::string cyrillic = "\xB8\xD2\xD0\xDD"; // of ISO 8859-5
    writeDirectory({patientRecord(latin, "", {}, with({{DCM_SpecificCharacterSet, "ISO_IR 100"}})),
                    patientRecord(cyrillic, "", {}, with({{DCM_SpecificCharacterSet, "ISO_IR 144"}})),
                    patientRecord("J\xC3\xB8rn", "", {}, with({{DCM_SpecificCharacterSet, "ISO_IR 192"}})),
                    patientRecord("Ann", "", {}),
                    patientRecord("", latin, {}, with({{DCM_SpecificCharacterSet, "ISO_IR 100"}}))});
    EXPECT_EQ(structureLine(), "Jos\xC3\xA9{},\xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD{},J\xC3\xB8rn{},Ann{},Jos\xC3\xA9{}");
    EXPECT_EQ(structureLine({.patient = "Jos\xC3\xA9"}), "Jos\xC3\xA9{}");
    EXPECT_EQ(structureLine({.patient = latin}), "");
    EXPECT_EQ(structureLine({.patient = "\xD0\x98.*"}), "\xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD{}");
}

TEST_F(DirectoryStructure, StudiesAndSeriesHaveTheirOwnCharacterSets) {
    const auto latinStudy = [](DcmItem& item) {
        put(item, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_StudyID, "\xE9"}});
        item.findAndDeleteElement(DCM_StudyInstanceUID);
    };
    writeDirectory({patientRecord("P", "", {studyRecord("1", {}, latinStudy)})});
    EXPECT_EQ(structureLine(), "P{\xC3\xA9{}}");
}

TEST_F(DirectoryStructure, ABadPathIsReportedBeforeABadPattern) {
    writeTwoPatients();
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments({.patient = "("})), 6);
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments({.study = "[z-a]"})), 6);
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments({.series = "*"})), 6);
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments({.series = std::string(1025, 'a')})), 6);
    path = folder.file("MISSING/DICOMDIR");
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments({.patient = "("})), -62);
    EXPECT_EQ(messageOf("ReadDICOMDIRStructure", structureArguments()),
              "Error when opening file " + path + ": No such file or directory.");
}

TEST_F(DirectoryStructure, EveryArgumentIsReadBeforeThePathIsLookedAt) {
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", {"/missing", ".*", ".*", ".*"}), -2);
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", {"/missing", ".*", ".*"}), 6) << "a missing text";
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", {}), 6);
}

TEST_F(DirectoryStructure, APathOpenAsAFileIsNoDirectoryUntilItIsClosed) {
    path = writeDicom(folder.file("a.dcm"), {});
    call("GetFrameCount", {path});
    EXPECT_EQ(messageOf("ReadDICOMDIRStructure", structureArguments()),
              "Error when opening file " + path + ": Unexpected type (DICOM vs DICOMDIR)..");
    call("CloseReader", {path});
    EXPECT_EQ(structureLine(), "") << "a file without records is an empty directory";
}

TEST_F(DirectoryStructure, APatternIsNotTriedBelowALevelThatDidNotMatch) {
    writeDirectory({patientRecord("P", "N", {studyRecord("1.2", {seriesOf("1.3", {"A"})})})});
    writeImage("A", 1, {.words = {1}});
    // Codes of all reads that take a pattern for the study and one for the series.
    const auto codes = [&](const Patterns& patterns) {
        return std::vector<int>{codeOf("ReadDICOMDIRStructure", structureArguments(patterns)),
                                codeOf("ReadSeriesInfo", {path, Store::ofTexts({"UID"}), patterns.patient,
                                                          patterns.study, patterns.series}),
                                codeOf("Read2DImagesDir", pictureArguments(kWithoutWindow, 0, patterns)),
                                codeOf("Read3DImage", volumeArguments(kWithoutWindow, 0, patterns))};
    };
    EXPECT_THAT(codes({.series = kFailsWhenTried}), ElementsAre(6, 6, 6, 6));
    EXPECT_THAT(codes({.study = "9", .series = kFailsWhenTried}), ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(codes({.study = kFailsWhenTried}), ElementsAre(6, 6, 6, 6));
    EXPECT_THAT(codes({.patient = "Q", .study = kFailsWhenTried, .series = kFailsWhenTried}), ElementsAre(0, 0, 0, 0));
}
