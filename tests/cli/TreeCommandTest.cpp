#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/json/LosslessJson.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Process.h"

using namespace radvex::test;
using radvex::formats::Json;
using testing::HasSubstr;

namespace {

void putText(DcmItem& item, const DcmTagKey& key, const std::string& text) {
    item.putAndInsertString(key, text.c_str());
}

class TreeCommand : public testing::Test {
  protected:
    /// Two patients; the first has two studies, one of them with two series.
    std::string write() {
        const auto described = [](const DcmTagKey& key, const std::string& text) {
            return [key, text](DcmItem& item) { putText(item, key, text); };
        };
        return writeMedium(
            mFolder,
            {patientRecord("P1", "Doe^Jane",
                           {studyRecord("1.2",
                                        {seriesRecord("1.2.1", "CT", {imageRecord("A\\I1", 1), imageRecord("A\\I2", 2)},
                                                      described(DCM_SeriesDescription, "Axial")),
                                         seriesRecord("1.2.2", "MR", {imageRecord("B\\I1", 1)})},
                                        described(DCM_StudyDate, "20260102")),
                            studyRecord("1.3", {seriesRecord("1.3.1", "CT", {imageRecord("C\\I1", 1)})})}),
             patientRecord("P2", "Roe^Rick", {studyRecord("2.2", {seriesRecord("2.2.1", "CR", {})})})});
    }

    TemporaryFolder mFolder{};
};

} // namespace

TEST_F(TreeCommand, PrintsPatientsStudiesAndSeriesWithTheirNumberOfFiles) {
    const ProcessResult run = radvex::test::radvex({"tree", write()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "Patient P1  Doe^Jane\n"
                          "  Study 20260102  1.2\n"
                          "    Series 1  CT  2 files  Axial  1.2.1\n"
                          "    Series 1  MR  1 file  1.2.2\n"
                          "  Study 1.3\n"
                          "    Series 1  CT  1 file  1.3.1\n"
                          "Patient P2  Roe^Rick\n"
                          "  Study 2.2\n"
                          "    Series 1  CR  0 files  2.2.1\n");
    EXPECT_EQ(run.errors, "");
}

TEST_F(TreeCommand, PrintsTheFilesWhereTheyLieOnTheMedium) {
    const ProcessResult run = radvex::test::radvex({"tree", write(), "--files", "--series", "1.2.1"});
    EXPECT_THAT(run.output, HasSubstr("    Series 1  CT  2 files  Axial  1.2.1\n      " + mFolder.file("A/I1") +
                                      "\n      " + mFolder.file("A/I2") + "\n"));
}

TEST_F(TreeCommand, PatternsChooseByTheWholeValue) {
    const auto path = write();
    const ProcessResult patient = radvex::test::radvex({"tree", path, "--patient", "P2"});
    EXPECT_THAT(patient.output, testing::StartsWith("Patient P2"));
    const ProcessResult part = radvex::test::radvex({"tree", path, "--patient", "P"});
    EXPECT_EQ(part.output, "");
    const ProcessResult study = radvex::test::radvex({"tree", path, "--study", "1\\.3"});
    EXPECT_EQ(study.output,
              "Patient P1  Doe^Jane\n  Study 1.3\n    Series 1  CT  1 file  1.3.1\nPatient P2  Roe^Rick\n");
}

TEST_F(TreeCommand, JsonHoldsTheSame) {
    const ProcessResult run = radvex::test::radvex({"tree", write(), "--json", "--files", "--series", "1.2.2"});
    EXPECT_EQ(Json::parse(run.output)[0]["studies"][0],
              Json({{"key", "1.2"},
                    {"StudyInstanceUID", "1.2"},
                    {"StudyDate", "20260102"},
                    {"StudyDescription", ""},
                    {"series", Json::array({{{"key", "1.2.2"},
                                             {"SeriesInstanceUID", "1.2.2"},
                                             {"SeriesNumber", "1"},
                                             {"Modality", "MR"},
                                             {"SeriesDescription", ""},
                                             {"fileCount", 1},
                                             {"files", Json::array({mFolder.file("B/I1")})}}})}}));
}

TEST_F(TreeCommand, InformationStaysWithItsRecordWhenKeysAreMissingOrAlike) {
    const auto numbered = [](const char* number) {
        return [number](DcmItem& item) {
            item.findAndDeleteElement(DCM_SeriesInstanceUID);
            putText(item, DCM_SeriesNumber, number);
        };
    };
    const auto keyless = [](DcmItem& item) {
        item.findAndDeleteElement(DCM_StudyInstanceUID);
        item.findAndDeleteElement(DCM_StudyID);
        putText(item, DCM_StudyDate, "19990101");
    };
    const auto dated = [](DcmItem& item) { putText(item, DCM_StudyDate, "20260102"); };
    const auto path =
        writeMedium(mFolder, {patientRecord("P", "One", {}),
                              patientRecord("P", "Two",
                                            {studyRecord("", {seriesRecord("1.1", "CT", {})}, keyless),
                                             studyRecord("1.2",
                                                         {seriesRecord("", "CT", {imageRecord("I1", 1)}, numbered("4")),
                                                          seriesRecord("", "CT", {}, numbered("4"))},
                                                         dated)})});
    EXPECT_EQ(radvex::test::radvex({"tree", path}).output, "Patient P  One\n"
                                                           "Patient P  Two\n"
                                                           "  Study 20260102  1.2\n"
                                                           "    Series 4  1 file  4\n"
                                                           "    Series 4  0 files  4\n");
}

TEST_F(TreeCommand, ShowsTextOfAnyCharacterSetAndControlCharactersHarmlessly) {
    const auto latin = [](DcmItem& item) {
        putText(item, DCM_SpecificCharacterSet, "ISO_IR 100");
        putText(item, DCM_PatientName, "M\xFCller\x1B[2J");
    };
    const auto path = writeMedium(mFolder, {patientRecord("P", "", {}, latin)});
    const ProcessResult run = radvex::test::radvex({"tree", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, testing::Not(HasSubstr("\x1B")));
    EXPECT_THAT(run.output, HasSubstr("M\xC3\xBCller"));
}

TEST_F(TreeCommand, AMalformedPatternIsWrongUsageAndSaysWhy) {
    for (const char* option : {"--patient", "--study", "--series"}) {
        const ProcessResult run = radvex::test::radvex({"tree", write(), option, "1.(2"});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.errors,
                    HasSubstr(std::string("radvex: ") + option + " '1.(2' is not a usable regular expression"));
        EXPECT_EQ(run.output, "");
    }
}

TEST_F(TreeCommand, AMediumThatIsMissingOrNoDicomIsNamed) {
    const ProcessResult missing = radvex::test::radvex({"tree", mFolder.file("DICOMDIR")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.errors, HasSubstr(mFolder.file("DICOMDIR")));
    const ProcessResult text = radvex::test::radvex({"tree", mFolder.write("DICOMDIR", "nothing of the kind")});
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(text.errors, HasSubstr(mFolder.file("DICOMDIR")));
}
