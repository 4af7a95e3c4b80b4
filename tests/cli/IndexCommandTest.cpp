#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class IndexCommand : public testing::Test {
  protected:
    std::string write(const std::string& name, const std::string& series) {
        return writeDicom(mFolder.file(name),
                          with({{DCM_PatientID, "P"}, {DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, series}}));
    }
    ProcessResult index(const Words& more = {}) {
        return runRadvex(joined({"index", mFolder.path().string(), "-o", mTarget}, more));
    }

    TemporaryFolder mFolder{};
    TemporaryFolder mAround{};
    std::string mTarget = mAround.file("new");
};

} // namespace

TEST_F(IndexCommand, SaysWhatItWroteAndWhatItLeftOut) {
    write("a.dcm", "1.2.3");
    write("b.dcm", "1.2.4");
    const std::string refused = writeDicom(mFolder.file("c.dcm"), {});
    mFolder.write("notes", "text");
    mFolder.write("more notes", "text");
    const ProcessResult run = index();
    EXPECT_EQ(run.status, 3) << "the others are indexed";
    EXPECT_EQ(run.output, mTarget + "/DICOMDIR: 1 patient, 1 study, 2 series, 2 files (2 skipped, 1 refused)\n");
    EXPECT_EQ(run.errors, "radvex: 2 files are not DICOM and were skipped.\nradvex: " + refused +
                              " was left out: it has no StudyInstanceUID.\n");
    EXPECT_EQ(readFile(mTarget + "/I0000001"), readFile(mFolder.file("b.dcm")));
    EXPECT_EQ(readFile(mTarget + "/DICOMDIR").substr(128, 4), "DICM");
}

TEST_F(IndexCommand, SaysTheSameAsJson) {
    const std::string file = write("a.dcm", "1.2.3");
    const std::string refused = writeDicom(mFolder.file("c.dcm"), {});
    const ProcessResult run = index({"--json"});
    EXPECT_EQ(Json::parse(run.output),
              Json({{"dicomdir", mTarget + "/DICOMDIR"},
                    {"patients", 1},
                    {"studies", 1},
                    {"series", 1},
                    {"files", Json::array({{{"fileId", "I0000000"}, {"path", file}}})},
                    {"skipped", 0},
                    {"refused", Json::array({{{"path", refused}, {"reason", "it has no StudyInstanceUID"}}})}}));
}

TEST_F(IndexCommand, ADicomdirThatIsThereIsNotReplaced) {
    write("a.dcm", "1.2.3");
    ASSERT_EQ(index().status, 0);
    const std::string before = readFile(mTarget + "/DICOMDIR");
    const ProcessResult again = index();
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.output, "");
    EXPECT_EQ(again.errors, "radvex: There is a DICOMDIR in " + mTarget +
                                " already, and it stays. --force replaces it; or name another folder.\n");
    EXPECT_EQ(readFile(mTarget + "/DICOMDIR"), before);
    write("b.dcm", "1.2.4");
    EXPECT_THAT(index({"--force"}).output, HasSubstr(": 1 patient, 1 study, 2 series, 2 files"));
    EXPECT_NE(readFile(mTarget + "/DICOMDIR"), before);
}

TEST_F(IndexCommand, AFolderWithNothingToIndexIsAFailureThatWritesNothing) {
    const std::string refused = writeDicom(mFolder.file("c.dcm"), {});
    const ProcessResult run = index();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, HasSubstr(refused + " was left out: it has no StudyInstanceUID."));
    EXPECT_THAT(run.errors, HasSubstr("holds no DICOM file that can be indexed; nothing was written."));
    EXPECT_FALSE(std::filesystem::exists(mTarget));
}

TEST_F(IndexCommand, WithoutATargetItIsWrongUsage) {
    EXPECT_EQ(runRadvex({"index", mFolder.path().string()}).status, 2);
}
