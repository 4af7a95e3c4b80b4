// No command replaces what it reads, and nothing else without --force.

#include <sys/stat.h>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

struct WritingCommand {
    std::string name{};
    Words words{};             ///< with IN for the input and OUT for the output
    std::string output{};      ///< name of the file that it writes: "out.png"
    bool readsPicture = false; ///< the input is a picture and no DICOM file
};

void PrintTo(const WritingCommand& command, std::ostream* stream) { *stream << command.name; }

const std::vector<WritingCommand> kCommands{
    {"image", {"image", "IN", "-o", "OUT"}, "out.png"},
    {"data", {"data", "IN", "-o", "OUT"}, "out.npy"},
    {"volume", {"volume", "IN", "-o", "OUT"}, "out.nrrd"},
    {"preview", {"volume", "IN", "-o", "OTHER.nii", "--preview", "OUT"}, "out.png"},
    {"write", {"write", "IN", "-o", "OUT"}, "out.dcm", true},
    {"anonymize", {"anonymize", "IN", "OUT"}, "out.dcm"},
    {"anonymizeReport", {"anonymize", "IN", "OTHER.dcm", "--report", "OUT"}, "out.json"},
    {"verifyReport", {"verify", "IN", "--report", "OUT"}, "out.json"},
};

class OutputRule : public testing::TestWithParam<WritingCommand> {
  protected:
    /// Writes the input under a name, and gives its path.
    std::string writeInput(const std::string& name) const {
        if (GetParam().readsPicture) {
            return folder.write(name, pngFile({.columns = 2, .rows = 1, .data = "\x01\x02"}));
        }
        ImageFile file{.rows = 2, .columns = 2, .words = {1, 2, 3, 4}};
        file.more = with({{DCM_PatientID, "P"},
                          {DCM_PatientName, "Zyxwvut"},
                          {DCM_StudyInstanceUID, "1.2"},
                          {DCM_SeriesInstanceUID, "1.2.3"},
                          {DCM_SOPInstanceUID, "1.2.3.4"}});
        return writeImageFile(folder.file(name), file);
    }
    ProcessResult run(const std::string& input, const std::string& output, bool isForced) const {
        Words words;
        for (const std::string& word : GetParam().words) {
            words.push_back(word == "IN"                ? input
                            : word == "OUT"             ? output
                            : word.starts_with("OTHER") ? folder.file("other" + word.substr(5))
                                                        : word);
        }
        return runRadvex(isForced ? joined(words, {"--force"}) : words);
    }
    static bool isDone(const ProcessResult& result) {
        // What verify finds in an original makes its status 1 as well.
        return result.errors.find("--force") == std::string::npos && result.errors.find("lost") == std::string::npos;
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_P(OutputRule, WhatIsThereIsReplacedOnlyWithForce) {
    const std::string input = writeInput("in");
    const std::string output = folder.write(GetParam().output, "precious");
    EXPECT_THAT(run(input, output, false), exitsSaying(1, HasSubstr(output + " exists already; --force replaces it.")));
    EXPECT_EQ(readFile(output), "precious");
    const ProcessResult forced = run(input, output, true);
    EXPECT_TRUE(isDone(forced)) << forced.errors;
    EXPECT_NE(readFile(output), "precious");
}

TEST_P(OutputRule, WhatIsReadIsNeverReplaced) {
    // Under the name that the output must have, by itself, by links, and by another way to write the path.
    const std::string input = writeInput(GetParam().output);
    const std::string before = readFile(input);
    const std::string link = folder.file("link-" + GetParam().output);
    fs::create_symlink(input, link);
    const std::string hard = folder.file("hard-" + GetParam().output);
    fs::create_hard_link(input, hard);
    const std::string detour = folder.path().string() + "/./" + GetParam().output;
    for (const std::string& output : {input, link, hard, detour}) {
        for (const bool isForced : {false, true}) {
            EXPECT_THAT(run(input, output, isForced), exitsSaying(1, HasSubstr("is read by this command"))) << output;
            EXPECT_EQ(readFile(input), before);
            EXPECT_EQ(readFile(output), before);
        }
    }
    EXPECT_THAT(run(link, input, true), exitsSaying(1, HasSubstr("is read by this command")));
    EXPECT_EQ(readFile(input), before);
}

TEST_P(OutputRule, ANewNameBesideTheInputIsWritten) {
    const std::string input = writeInput("in");
    const std::string before = readFile(input);
    const ProcessResult result = run(input, folder.file(GetParam().output), false);
    EXPECT_TRUE(isDone(result)) << result.errors;
    EXPECT_TRUE(fs::exists(folder.file(GetParam().output))) << result.errors;
    EXPECT_EQ(readFile(input), before);
}

TEST_P(OutputRule, AFolderOrDeviceIsNeverReplaced) {
    const std::string input = writeInput("in");
    const std::string output = folder.file(GetParam().output);
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    EXPECT_EQ(run(input, output, true).status, 1);
    EXPECT_TRUE(fs::is_fifo(output));
}

INSTANTIATE_TEST_SUITE_P(All, OutputRule, testing::ValuesIn(kCommands),
                         [](const auto& command) { return command.param.name; });

TEST(OutputRuleOfFolders, AFileOfTheInputFolderIsNeverReplaced) {
    const TemporaryFolder folder;
    ImageFile file{.rows = 1, .columns = 2, .words = {1, 2}};
    file.more = with({{DCM_PatientID, "P"}, {DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}});
    const std::string dicom = writeImageFile(folder.file("slice.nrrd"), file);
    const std::string notes = folder.write("notes.nrrd", "no DICOM");
    const std::string before = readFile(dicom);
    const std::string in = folder.path().string();
    EXPECT_THAT(runRadvex({"volume", in, "-o", dicom, "--force"}),
                exitsSaying(1, HasSubstr("is read by this command")));
    EXPECT_THAT(runRadvex({"verify", in, "--report", dicom, "--force"}),
                exitsSaying(1, HasSubstr("is read by this command")));
    EXPECT_EQ(readFile(dicom), before);
    EXPECT_EQ(runRadvex({"volume", in, "-o", notes, "--force"}).status, 0) << "an earlier volume among the files";
    EXPECT_NE(readFile(notes), "no DICOM");
}

TEST(OutputRuleOfFolders, FilesInAnOutputFolderStayUnlessForced) {
    const TemporaryFolder folder;
    const TemporaryFolder in;
    ImageFile file{.rows = 1, .columns = 2, .words = {1, 2}};
    file.more = [](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientID, "P"},
                      {DCM_StudyInstanceUID, "1.2"},
                      {DCM_SeriesInstanceUID, "1.2.3"},
                      {DCM_SOPInstanceUID, "1.2.3.4"}});
        putOverlay(dataset, 0x6000, {.columns = 2, .bits = 0b01});
    };
    const std::string input = writeImageFile(in.file("a.dcm"), file);
    fs::create_directory(folder.file("out"));
    folder.write("out/overlay-1.png", "precious");
    const std::string out = folder.file("out");
    for (const Words& words :
         {Words{"series", in.path().string(), "-o", out}, {"anonymize", in.path().string(), out}}) {
        EXPECT_THAT(runRadvex(words), exitsSaying(1, HasSubstr("is not empty; --force writes into it")));
    }
    EXPECT_THAT(runRadvex({"overlays", input, "-o", out}), exitsSaying(1, HasSubstr("exists already")));
    EXPECT_EQ(readFile(folder.file("out/overlay-1.png")), "precious");
    EXPECT_EQ(runRadvex({"overlays", input, "-o", out, "--force"}).status, 0);
    EXPECT_NE(readFile(folder.file("out/overlay-1.png")), "precious");
}
