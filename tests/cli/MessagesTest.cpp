// --quiet, --verbose and --color mean the same for every command.

#include "cli/arguments/Messages.h"

#include <regex>

#include "cli/ProgressBar.h"
#include "cli/Session.h"
#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"
#include "tests/support/PseudoTerminal.h"

using namespace radvex::test;
using radvex::cli::ProgressBar;

namespace {

/// Two folders of five slices, one file in the first that is no DICOM and one that is broken.
class MessageOptions : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"in", "other", "out"}) {
            std::filesystem::create_directory(folder.file(name));
        }
        for (int number = 0; number < 5; ++number) {
            ImageFile file{.rows = 2, .columns = 2, .words = {1, 2, 3, 4}};
            file.more = with({{DCM_PatientID, "P"},
                              {DCM_PatientName, "Zyxwvut"},
                              {DCM_StudyInstanceUID, "1.2"},
                              {DCM_SeriesInstanceUID, "1.2.3"},
                              {DCM_SOPInstanceUID, "1.2.3." + std::to_string(number)},
                              {DCM_InstanceNumber, std::to_string(number + 1)},
                              {DCM_PixelSpacing, "1\\1"},
                              {DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"},
                              {DCM_ImagePositionPatient, "0\\0\\" + std::to_string(number)}});
            for (const char* name : {"in/", "other/"}) {
                writeImageFile(folder.file(name + std::to_string(number)), file);
            }
        }
    }
    ProcessResult run(const Words& words) const {
        return runProcess(joined({"env", "-C", folder.path().string(), "NO_COLOR=1", RADVEX_COMMAND}, words));
    }
    void addOthers() const {
        folder.write("in/notes.txt", "no DICOM");
        folder.write("in/broken.dcm", readFile(folder.file("in/0")).substr(0, 300));
    }

    TemporaryFolder folder{};
};

constexpr const char* kColour = "\x1B[";

} // namespace

TEST_F(MessageOptions, QuietHoldsBackSummariesAndHintsButNoErrors) {
    addOthers();
    const ProcessResult plain = run({"index", "in", "-o", "out/1"});
    EXPECT_EQ(plain.status, 3);
    EXPECT_THAT(plain.output, HasSubstr("5 files"));
    EXPECT_THAT(plain.errors, HasSubstr("radvex: 1 file is not DICOM and was skipped.\n"));
    EXPECT_THAT(plain.errors, HasSubstr("broken.dcm was left out"));
    const ProcessResult quiet = run({"index", "-q", "in", "-o", "out/2"});
    EXPECT_EQ(quiet.status, 3);
    EXPECT_EQ(quiet.output, "");
    EXPECT_THAT(quiet.errors, Not(HasSubstr("skipped")));
    EXPECT_THAT(quiet.errors, HasSubstr("broken.dcm was left out"));
    EXPECT_TRUE(std::filesystem::exists(folder.file("out/2/DICOMDIR")));
}

TEST_F(MessageOptions, QuietWritesFilesWithoutAWord) {
    const Words volume{"volume", "in", "-o", "out/v.nrrd"};
    EXPECT_THAT(run(volume).output, HasSubstr("out/v.nrrd: "));
    const ProcessResult quiet = run(joined(volume, {"--force", "-q"}));
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.output + quiet.errors, "");
    EXPECT_EQ(run({"series", "in", "-o", "out/series", "-q"}).output, "");
    EXPECT_EQ(run({"image", "in/0", "-o", "out/i.png", "-q"}).output, "");
    for (const char* name : {"out/v.nrrd", "out/series", "out/i.png"}) {
        EXPECT_TRUE(std::filesystem::exists(folder.file(name))) << name;
    }
}

TEST_F(MessageOptions, QuietPrintsWhatWasAskedFor) {
    for (const Words& words : {Words{"tags", "in/0"}, {"tree", "in"}, {"info", "--json", "in/0"}, {"frames", "in/0"}}) {
        EXPECT_EQ(run(joined(words, {"--quiet"})).output, run(words).output);
    }
    EXPECT_EQ(run(joined({"--quiet"}, {"tags", "in/0"})).output, run({"tags", "in/0"}).output) << "in front of it";
}

TEST_F(MessageOptions, VerboseSaysOnStandardErrorHowLongTheWorkTook) {
    const std::vector<std::pair<Words, std::string>> commands{
        {{"tags", "--recursive", "in"}, "Reading files: 5 in "},
        {{"info", "in/0", "in/1"}, "Reading files: 2 in "},
        {{"info", "--jobs", "0", "in/0", "in/1"}, "Reading files: 2 in "},
        {{"tree", "in"}, "in: 5 in "},
        {{"index", "in", "-o", "out/index"}, "Indexing in: 5 in "},
        {{"series", "in", "-o", "out/series"}, "Rendering files: 5 in "},
        {{"series", "in", "-o", "out/common", "--common-window"}, "Rendering series: 1 in "},
        {{"volume", "in", "-o", "out/volume.nrrd"}, "Reading series 1.2.3: 5 in "},
        {{"volume", "in", "-o", "out/volume.nii.gz"}, "Reading series 1.2.3: 5 in "},
        {{"anonymize", "in", "out/new"}, "De-identifying in: 5 in "},
        {{"verify", "in"}, "Checking: 5 in "},
        {{"diff", "in", "other"}, "Comparing files: 5 in "},
        {{"diff", "in", "other"}, "Matching other: 5 in "},
        {{"doctor"}, "Checking the codecs: 10 in "},
    };
    for (const auto& [words, expected] : commands) {
        for (const char* name :
             {"out/index", "out/series", "out/common", "out/volume.nrrd", "out/volume.nii.gz", "out/new"}) {
            std::filesystem::remove_all(folder.file(name));
        }
        const std::string errors = run(joined(words, {"--verbose"})).errors;
        EXPECT_THAT(errors, HasSubstr(expected));
        const bool needsLibrary = words.front() != "index" && words.front() != "verify";
        EXPECT_EQ(errors.find("radvex: The library is /") != std::string::npos, needsLibrary) << words.front();
        EXPECT_THAT(errors, testing::ContainsRegex("radvex: The run took [0-9.]+ s\\.\n$"));
        EXPECT_THAT(errors, Not(HasSubstr(kColour))) << "no terminal, no progress";
    }
}

TEST_F(MessageOptions, ColoursAreUsedAlwaysOrNeverIfThatIsSaid) {
    const Words words{"tags", "--tag", "PatientName", "in/0"};
    EXPECT_THAT(run(words).output, Not(HasSubstr(kColour)));
    EXPECT_THAT(run(joined(words, {"--color=always"})).output, HasSubstr(kColour)) << "whatever NO_COLOR says";
    EXPECT_THAT(run({"--color", "always", "tree", "in"}).output, HasSubstr(kColour));
    const auto onTerminal = [&](const std::string& rule) {
        return shownOnTerminal({"env", "-u", "NO_COLOR", "TERM=xterm", RADVEX_COMMAND, "tags", "--tag", "PatientName",
                                folder.file("in/0"), "--color", rule},
                               80);
    };
    EXPECT_THAT(onTerminal("auto"), HasSubstr(kColour));
    EXPECT_THAT(onTerminal("never"), Not(HasSubstr(kColour)));
    EXPECT_EQ(run({"tree", "in", "--color=blue"}).status, 2);
}

TEST_F(MessageOptions, AreTakenByEveryCommand) {
    std::istringstream lines(runRadvex({"help", "--all"}).output);
    std::map<std::string, int> counts;
    std::string command;
    for (std::string line; std::getline(lines, line);) {
        command = line.starts_with("Usage: ") ? line : command;
        for (const char* option : {"  -q,--quiet  ", "  -v,--verbose  ", "  --color TEXT:{auto,always,never}"}) {
            counts[command] += line.starts_with(option) ? 1 : 0;
        }
    }
    counts.erase("");
    EXPECT_GT(counts.size(), 20U);
    for (const auto& [usage, count] : counts) {
        EXPECT_EQ(count, 3) << usage;
    }
}

// The library takes half a second for each of these files, so that the run is long enough for a bar.
TEST(ProgressOfACommand, IsDrawnOnATerminalAndNotIfQuiet) {
    const auto shown = [](const std::string& more) {
        return shownOnTerminal({"bash", "-c",
                                RADVEX_COMMAND " --library " ENDING_LIBRARY
                                               " frames wait-501 wait-502 wait-503 --jobs 0 >/dev/null " +
                                    more},
                               80, STDERR_FILENO);
    };
    const std::string drawn = shown("");
    EXPECT_THAT(drawn, testing::ContainsRegex("Reading files \\[#+ *\\] [12] of 3, [0-9:]+ left"));
    EXPECT_TRUE(drawn.ends_with(radvex::cli::kEraseLine)) << drawn;
    EXPECT_EQ(shown("--quiet"), "");
}

TEST(QuietProgress, IsNotDrawn) {
    const PseudoTerminal terminal(80);
    auto& messages = radvex::cli::Messages::ofThisRun();
    messages.isQuiet = true;
    ProgressBar bar("Reading", terminal.descriptor(), ProgressBar::Clock::now() - std::chrono::seconds(9));
    messages.isQuiet = false;
    bar.show(1, 4);
    EXPECT_EQ(terminal.shown(), "");
}

// Standard error of a process of its own is the terminal: the bar stands there when the error comes.
TEST(ProgressLine, IsErasedBeforeAnError) {
    const PseudoTerminal terminal(80);
    const pid_t child = fork();
    if (child == 0) {
        dup2(terminal.descriptor(), STDERR_FILENO);
        ProgressBar bar("Reading", STDERR_FILENO, ProgressBar::Clock::now() - std::chrono::seconds(9));
        bar.show(0, 4);
        radvex::cli::printError("a.dcm is broken.");
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(terminal.shown(), "\r\x1B[KReading [                    ] 0 of 4\r\x1B[Kradvex: a.dcm is broken.\r\n");
}
