#include "tests/cli/Commands.h"

using namespace radvex::test;

TEST(Command, WithoutOrWithWrongArgumentsShowsItsUsage) {
    for (const auto& words : std::vector<Words>{{}, {"nonsense"}, {"frames"}, {"errors", "--nope"}}) {
        const ProcessResult run = runRadvex(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_NE(run.errors.find("Usage: "), std::string::npos) << run.errors;
    }
}

TEST(Command, HelpIsNoFailure) {
    const ProcessResult run = runRadvex({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.output.find("frames"), std::string::npos);
}

TEST(Command, ALibraryThatIsNotThereIsNamed) {
    EXPECT_THAT(runRadvex({"--library", "/nowhere/Radvex.so", "errors"}),
                exitsSaying(2, HasSubstr("/nowhere/Radvex.so")));
}

TEST(ErrorsCommand, PrintsTheTableAsJson) {
    const Json list = Json::parse(runRadvex({"errors", "--json"}).output);
    ASSERT_EQ(list.size(), 91U);
    EXPECT_EQ(list[0],
              Json({{"id", 7},
                    {"name", "VersionError"},
                    {"message", "An error was caused by an incompatible function call. The library was compiled "
                                "with a previous LibraryData version."}}));
    EXPECT_EQ(list[90]["id"], -83);
}

TEST(FramesCommand, SaysWhatAFileHas) {
    const TemporaryFolder folder;
    const std::string file = writeDicom(folder.file("a.dcm"), [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_NumberOfFrames, "15");
        dataset.putAndInsertUint16(DCM_RepresentativeFrameNumber, 7);
        const Uint16 bits[] = {1};
        dataset.putAndInsertUint16Array(DcmTag(0x6000, 0x3000, EVR_OW), bits, 1);
    });
    EXPECT_EQ(runRadvex({"frames", file}).output, file + ": frames 15, representative frame 7, overlays 1\n");
    EXPECT_EQ(Json::parse(runRadvex({"frames", "--json", file}).output),
              Json::array({{{"file", file}, {"frames", 15}, {"representativeFrame", 7}, {"overlays", 1}}}));
}

TEST(FramesCommand, ABadFileIsReportedAndTheOthersGoOn) {
    const TemporaryFolder folder;
    const std::string file = writeDicom(folder.file("a.dcm"), {});
    const ProcessResult run = runRadvex({"frames", "/missing", file, folder.write("b.txt", "no DICOM")});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output, file + ": frames 0 (not given), representative frame 0 (not given), overlays 0\n");
    EXPECT_NE(run.errors.find("radvex: Error when opening file /missing: No such file or directory.\n"),
              std::string::npos);
    EXPECT_NE(run.errors.find("b.txt"), std::string::npos);
}
