#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class TreeCommand : public testing::Test {
  protected:
    /// Two patients; the first has two studies, one of them with two series.
    std::string write() {
        return writeMedium(
            mFolder,
            {patientRecord("P1", "Doe^Jane",
                           {studyRecord("1.2",
                                        {seriesRecord("1.2.1", "CT", {imageRecord("A\\I1", 1), imageRecord("A\\I2", 2)},
                                                      with({{DCM_SeriesDescription, "Axial"}})),
                                         seriesRecord("1.2.2", "MR", {imageRecord("B\\I1", 1)})},
                                        with({{DCM_StudyDate, "20260102"}})),
                            studyRecord("1.3", {seriesRecord("1.3.1", "CT", {imageRecord("C\\I1", 1)})})}),
             patientRecord("P2", "Roe^Rick", {studyRecord("2.2", {seriesRecord("2.2.1", "CR", {})})})});
    }

    TemporaryFolder mFolder{};
};

} // namespace

TEST_F(TreeCommand, PrintsPatientsStudiesAndSeriesWithTheirNumberOfFiles) {
    const ProcessResult run = runRadvex({"tree", write()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "Patient P1  Doe^Jane\n"
                          "  Study 20260102  1.2\n"
                          "    Series 1  CT  2 files  Axial  1.2.1\n"
                          "    Series 1  MR  1 file  1.2.2\n"
                          "  Study -  1.3\n"
                          "    Series 1  CT  1 file  1.3.1\n"
                          "Patient P2  Roe^Rick\n"
                          "  Study -  2.2\n"
                          "    Series 1  CR  0 files  2.2.1\n");
    EXPECT_EQ(run.errors, "");
}

TEST_F(TreeCommand, PrintsTheFilesWhereTheyLieOnTheMedium) {
    const ProcessResult run = runRadvex({"tree", write(), "--files", "--series", "1.2.1"});
    EXPECT_THAT(run.output, HasSubstr("    Series 1  CT  2 files  Axial  1.2.1\n      " + mFolder.file("A/I1") +
                                      "\n      " + mFolder.file("A/I2") + "\n"));
}

TEST_F(TreeCommand, PatternsChooseByTheWholeValue) {
    const auto path = write();
    const ProcessResult patient = runRadvex({"tree", path, "--patient", "P2"});
    EXPECT_THAT(patient.output, StartsWith("Patient P2"));
    const ProcessResult part = runRadvex({"tree", path, "--patient", "P"});
    EXPECT_EQ(part.output, "");
    EXPECT_THAT(part, exitsSaying(1, HasSubstr("holds no series that matches.")));
    const ProcessResult study = runRadvex({"tree", path, "--study", "1\\.3"});
    EXPECT_EQ(study.output, "Patient P1  Doe^Jane\n  Study -  1.3\n    Series 1  CT  1 file  1.3.1\n");
}

TEST_F(TreeCommand, JsonHoldsWhatTheTextHolds) {
    const ProcessResult run = runRadvex({"tree", write(), "--json", "--files", "--series", "1.2.2"});
    EXPECT_EQ(Json::parse(run.output)[0]["studies"][0],
              Json({{"key", "1.2"},
                    {"StudyInstanceUID", "1.2"},
                    {"StudyDate", "20260102"},
                    {"StudyDescription", nullptr},
                    {"series", Json::array({{{"key", "1.2.2"},
                                             {"SeriesInstanceUID", "1.2.2"},
                                             {"SeriesNumber", "1"},
                                             {"Modality", "MR"},
                                             {"SeriesDescription", nullptr},
                                             {"fileCount", 1},
                                             {"files", Json::array({mFolder.file("B/I1")})}}})}}));
}

TEST_F(TreeCommand, InformationStaysWithItsRecordWhenKeysAreMissingOrAlike) {
    const auto numbered = [](const char* number) {
        return [number](DcmItem& item) {
            item.findAndDeleteElement(DCM_SeriesInstanceUID);
            put(item, {{DCM_SeriesNumber, number}});
        };
    };
    const auto keyless = [](DcmItem& item) {
        item.findAndDeleteElement(DCM_StudyInstanceUID);
        item.findAndDeleteElement(DCM_StudyID);
        put(item, {{DCM_StudyDate, "19990101"}});
    };
    const auto dated = with({{DCM_StudyDate, "20260102"}});
    const auto path =
        writeMedium(mFolder, {patientRecord("P", "One", {}),
                              patientRecord("P", "Two",
                                            {studyRecord("", {seriesRecord("1.1", "CT", {})}, keyless),
                                             studyRecord("1.2",
                                                         {seriesRecord("", "CT", {imageRecord("I1", 1)}, numbered("4")),
                                                          seriesRecord("", "CT", {}, numbered("4"))},
                                                         dated)})});
    EXPECT_EQ(runRadvex({"tree", path}).output, "Patient P  One\n"
                                                "Patient P  Two\n"
                                                "  Study 20260102  1.2\n"
                                                "    Series 4  -  1 file  4\n"
                                                "    Series 4  -  0 files  4\n");
}

TEST_F(TreeCommand, ShowsTextOfAnyCharacterSetAndControlCharactersHarmlessly) {
    const auto latin = with({{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller\x1B[2J"}});
    const auto path = writeMedium(mFolder, {patientRecord("P", "", {}, latin)});
    const ProcessResult run = runRadvex({"tree", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, Not(HasSubstr("\x1B")));
    EXPECT_THAT(run.output, HasSubstr("M\xC3\xBCller"));
}

TEST_F(TreeCommand, OfAPlainFolderNothingIsInvented) {
    const TemporaryFolder plain;
    writeDicom(plain.file("a"), with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}}));
    EXPECT_EQ(runRadvex({"tree", plain.path().string()}).output,
              "Patient -  -\n  Study -  1.2\n    Series -  -  1 file  1.2.3\n");
    const Json patient = Json::parse(runRadvex({"tree", "--json", plain.path().string()}).output)[0];
    EXPECT_EQ(patient["PatientID"], nullptr);
    EXPECT_EQ(patient["studies"][0]["StudyDate"], nullptr);
    EXPECT_EQ(patient["studies"][0]["series"][0]["SeriesNumber"], nullptr);
    EXPECT_EQ(runRadvex({"tree", plain.path().string(), "--patient", "DCMTKPAT.*"}).status, 1);
    EXPECT_EQ(runRadvex({"tree", plain.path().string(), "--patient", ".*"}).status, 0);
}

TEST_F(TreeCommand, PatternsChooseInAPlainFolderToo) {
    const TemporaryFolder plain;
    for (const std::string patient : {"P1", "P2"}) {
        for (const std::string series : {"3", "4"}) {
            writeDicom(plain.file(patient + series),
                       with({{DCM_PatientID, patient},
                             {DCM_StudyInstanceUID, "1.2." + patient.substr(1)},
                             {DCM_SeriesInstanceUID, "1.2." + patient.substr(1) + '.' + series}}));
        }
    }
    const std::string path = plain.path().string();
    EXPECT_EQ(runRadvex({"tree", path, "--series", R"(1\.2\.2\.3)"}).output,
              "Patient P2  -\n  Study -  1.2.2\n    Series -  -  1 file  1.2.2.3\n");
    EXPECT_EQ(runRadvex({"tree", path, "--patient", "P1", "--series", R"(.*\.4)"}).output,
              "Patient P1  -\n  Study -  1.2.1\n    Series -  -  1 file  1.2.1.4\n");
    EXPECT_EQ(runRadvex({"tree", path, "--patient", R"((P)2|\1)"}).status, 0) << "a back-reference is usable";
    EXPECT_EQ(runRadvex({"tree", path, "--patient", "p1"}).status, 1);
}

TEST_F(TreeCommand, AMalformedPatternIsWrongUsageAndSaysWhy) {
    for (const char* option : {"--patient", "--study", "--series"}) {
        const ProcessResult run = runRadvex({"tree", write(), option, "1.(2"});
        EXPECT_THAT(run, exitsSaying(2, HasSubstr(std::string("radvex: ") + option +
                                                  " '1.(2' is not a usable regular expression")));
        EXPECT_EQ(run.output, "");
    }
}

TEST_F(TreeCommand, AMediumThatIsMissingOrNoDicomIsNamed) {
    EXPECT_THAT(runRadvex({"tree", mFolder.file("DICOMDIR")}), exitsSaying(1, HasSubstr(mFolder.file("DICOMDIR"))));
    EXPECT_THAT(runRadvex({"tree", mFolder.write("DICOMDIR", "nothing of the kind")}),
                exitsSaying(1, HasSubstr(mFolder.file("DICOMDIR"))));
}
