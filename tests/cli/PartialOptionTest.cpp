#include <filesystem>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

class PartialOfACutFile : public ::testing::Test {
  protected:
    PartialOfACutFile() {
        const std::string whole = readFile(file);
        cut = folder.write("cut.dcm", whole.substr(0, whole.size() - 8));
        notice = "radvex: " + cut + " is cut off at byte " + std::to_string(whole.size() - 8) + " of " +
                 std::to_string(whole.size()) + ": what follows is partial. Rows 3 to 4 are missing and shown as 0.\n";
    }

    TemporaryFolder folder{};
    std::string file = writeImageFile(folder.file("whole.dcm"), {.rows = 4,
                                                                 .columns = 2,
                                                                 .words = {100, 200, 300, 400, 500, 600, 700, 800},
                                                                 .more = with({{DCM_PatientID, "P"}})});
    std::string cut{};
    std::string notice{};
};

} // namespace

TEST_F(PartialOfACutFile, EveryCommandReadsWhatIsThereAndSaysThatItIsPartial) {
    for (const char* command : {"tags", "info", "image", "data"}) {
        const ProcessResult run = runRadvex({command, "--partial", cut});
        EXPECT_THAT(run, exitsSaying(3, notice)) << command;
        EXPECT_NE(run.output, "") << command;
        EXPECT_EQ(runRadvex({command, cut}).status, 1) << command << " without --partial";
    }
    EXPECT_THAT(runRadvex({"info", "--partial", cut}).output, HasSubstr("PatientID                         P\n"));
}

TEST_F(PartialOfACutFile, AWholeFileIsReadAsEver) {
    for (const char* command : {"tags", "info", "image", "data"}) {
        const ProcessResult run = runRadvex({command, "--partial", file});
        EXPECT_THAT(run, exitsSaying(0, ""));
        EXPECT_EQ(run.output, runRadvex({command, file}).output);
    }
}

TEST_F(PartialOfACutFile, MissingValuesAreZero) {
    const std::string npy = folder.file("out.npy");
    const ProcessResult run = runRadvex({"data", "--partial", "--json", cut, "-o", npy});
    const std::string bytes = readFile(npy);
    EXPECT_EQ(bytes.substr(bytes.size() - 16), bytesOf<std::uint16_t>({100, 200, 300, 400, 0, 0, 0, 0}));
    const Json json = Json::parse(run.output);
    EXPECT_EQ(json["file"], cut) << "and not its copy";
    EXPECT_EQ(json["minimum"], 0);
    EXPECT_EQ(json["maximum"], 400);
}

TEST_F(PartialOfACutFile, ThePictureHasBlackRowsAtItsEnd) {
    const std::string png = folder.file("out.png");
    EXPECT_EQ(runRadvex({"image", "--partial", "--window", "400,200", cut, "-o", png}).status, 3);
    const PngFile picture = readPng(png);
    ASSERT_EQ(picture.grey8.size(), 8U);
    EXPECT_GT(picture.grey8[2], 100) << "300 lies in the upper half of the window";
    for (std::size_t index = 4; index < 8; ++index) {
        EXPECT_LT(picture.grey8[index], 2);
    }
}

TEST_F(PartialOfACutFile, SeveralFilesAreNamedEachAndNumberedByTheirOwnPaths) {
    for (const char* jobs : {"0", "2"}) {
        const ProcessResult run =
            runRadvex({"tags", "--partial", "--json", "--tag", "PatientID", "--jobs", jobs, file, cut});
        EXPECT_THAT(run, exitsSaying(3, notice));
        EXPECT_EQ(Json::parse(run.output), Json({{file, {{"PatientID", "P"}}}, {cut, {{"PatientID", "P"}}}}));
    }
}

TEST_F(PartialOfACutFile, WithoutPixelsNoPictureIsMade) {
    const std::string whole = readFile(file);
    const std::string early = folder.write("early.dcm", whole.substr(0, whole.size() - 20));
    const ProcessResult run = runRadvex({"image", "--partial", early, "-o", folder.file("out.png")});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr(early + " is cut off at byte "));
    EXPECT_THAT(run.errors, Not(HasSubstr(".radvex-"))) << "nobody knows the copy";
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
    EXPECT_EQ(runRadvex({"tags", "--partial", early}).status, 3);
}

TEST_F(PartialOfACutFile, WhatIsNoCutFileIsRefusedAsEver) {
    const std::string text = folder.write("a.txt", "A letter.");
    EXPECT_THAT(runRadvex({"tags", "--partial", text}),
                exitsSaying(1, "radvex: " + text + " is not a DICOM file: it looks like a text.\n"));
    EXPECT_EQ(runRadvex({"tags", "--partial", "--recursive", folder.path().string()}).status, 2);
}

TEST_F(PartialOfACutFile, TheCutFileStaysAsItIsAndNoCopyIsLeft) {
    const std::string before = readFile(cut);
    const TemporaryFolder temporary;
    for (const Words& words : {Words{"image", cut}, Words{"tags", "--jobs", "2", cut, file, cut}}) {
        const ProcessResult run = runProcess(
            joined({"env", "TMPDIR=" + temporary.path().string(), RADVEX_COMMAND}, joined(words, {"--partial"})));
        EXPECT_EQ(run.status, 3);
    }
    EXPECT_EQ(readFile(cut), before);
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
}
