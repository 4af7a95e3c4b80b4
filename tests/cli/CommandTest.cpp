#include "tests/cli/Commands.h"

using namespace radvex::test;

TEST(Command, WrongUsageIsASentenceAndTheWayToTheHelp) {
    const std::vector<std::pair<Words, std::string>> wrong{
        {{}, "A command is missing.\nSee 'radvex help'.\n"},
        {{"tag"}, "'tag' is no command; did you mean tags?\nSee 'radvex help'.\n"},
        {{"nonsense", "x"}, "'nonsense' is no command.\nSee 'radvex help'.\n"},
        {{"help", "imag"}, "'imag' is no command; did you mean image?\nSee 'radvex help'.\n"},
        {{"errors", "--jso"}, "There is no option --jso; did you mean --json?\nSee 'radvex help errors'.\n"},
        {{"errors", "--nope"}, "There is no option --nope.\nSee 'radvex help errors'.\n"},
        {{"tags", "--recursve", "x"},
         "There is no option --recursve; did you mean --recursive?\nSee 'radvex help tags'.\n"},
        {{"image", "a", "b"}, "'b' is one word too many.\nSee 'radvex help image'.\n"},
        {{"image"}, "FILE is required.\nSee 'radvex help image'.\n"},
        {{"tags", "--jobs", "-1", "x"}, "--jobs: '-1' is no number from 0 to 256.\nSee 'radvex help tags'.\n"},
        {{"tags", "--jobs", "257", "x"}, "--jobs: '257' is no number from 0 to 256.\nSee 'radvex help tags'.\n"}};
    for (const auto& [words, errors] : wrong) {
        const ProcessResult run = runRadvex(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "radvex: " + errors);
    }
}

TEST(Command, HelpIsTheSameForAllWaysToAsk) {
    EXPECT_EQ(runRadvex({"help"}).output, runRadvex({"--help"}).output);
    EXPECT_EQ(runRadvex({"help", "image"}).output, runRadvex({"image", "--help"}).output);
    EXPECT_THAT(runRadvex({"help", "image"}).output, HasSubstr("\nUsage: radvex image [OPTIONS] FILE\n"));
}

TEST(Command, HelpFitsIntoAHundredColumns) {
    std::istringstream commands(runRadvex({"help"}).output);
    int commandCount = 0;
    bool areCommands = false;
    for (std::string line; std::getline(commands, line);) {
        areCommands = line == "Subcommands:" || (areCommands && !line.empty());
        if (!areCommands || !line.starts_with("  ") || line[2] == ' ') {
            continue;
        }
        ++commandCount;
        std::istringstream help(runRadvex({"help", line.substr(2, line.find(' ', 2) - 2)}).output);
        for (std::string text; std::getline(help, text);) {
            EXPECT_LE(text.size(), 100U) << text;
        }
    }
    EXPECT_GE(commandCount, 20);
}

TEST(Command, WordsBehindTwoDashesAreFiles) {
    const TemporaryFolder folder;
    writeDicom(folder.file("-x.dcm"), with({{DCM_PatientID, "P"}}));
    writeDicom(folder.file("@y.dcm"), with({{DCM_PatientID, "Q"}}));
    const auto inFolder = [&](const std::string& words) {
        return runProcess({"bash", "-c", "cd '" + folder.path().string() + "' && " RADVEX_COMMAND " " + words});
    };
    EXPECT_EQ(inFolder("tags --tag PatientID --csv -- -x.dcm @y.dcm").output,
              "file,PatientID\n./-x.dcm,P\n./@y.dcm,Q\n");
    EXPECT_EQ(inFolder("frames -- -x.dcm").status, 0);
    EXPECT_EQ(inFolder("frames -x.dcm").status, 2);
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
    EXPECT_NE(run.errors.find("radvex: /missing does not exist.\n"), std::string::npos);
    EXPECT_NE(run.errors.find("b.txt"), std::string::npos);
}
