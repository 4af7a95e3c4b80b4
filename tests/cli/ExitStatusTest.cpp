#include <filesystem>
#include <sstream>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

/// A folder of good files, one with a cut file too, and one with nothing but that.
class ExitStatus : public ::testing::Test {
  protected:
    ExitStatus() {
        for (const char* name : {"good", "mixed", "bad", "other"}) {
            std::filesystem::create_directory(folder.file(name));
        }
        write("good/a.dcm", "1.2.5.1", 1);
        write("good/b.dcm", "1.2.5.2", 2);
        write("mixed/a.dcm", "1.2.5.3", 1);
        const std::string whole = readFile(folder.file("good/a.dcm"));
        folder.write("mixed/cut.dcm", whole.substr(0, whole.size() - 2));
        folder.write("bad/cut.dcm", whole.substr(0, whole.size() - 2));
        write("other/a.dcm", "1.2.5.4", 1);
        folder.write("other/notes.txt", "A letter.");
        folder.write("picture.png", pngFile({.data = "x"}));
    }

    void write(const std::string& name, const std::string& instance, int number) {
        writeImageFile(folder.file(name), {.columns = 2,
                                           .words = {1, 2},
                                           .more = with({{DCM_SOPInstanceUID, instance},
                                                         {DCM_StudyInstanceUID, "1.2.3"},
                                                         {DCM_SeriesInstanceUID, "1.2.4"},
                                                         {DCM_PatientID, "P"},
                                                         {DCM_PatientName, ""},
                                                         {DCM_InstanceNumber, std::to_string(number)},
                                                         {DCM_ImagePositionPatient, "0\\0\\" + std::to_string(number)},
                                                         {DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"},
                                                         {DCM_PixelSpacing, "1\\1"}})});
    }

    /// Words that begin with @ are paths in the folder; @new is a new one each time.
    int statusOf(const std::string& line) {
        Words words;
        std::istringstream all(line);
        for (std::string word; all >> word;) {
            const std::size_t at = word.find('@');
            if (at == std::string::npos) {
                words.push_back(word);
            } else {
                const std::string name = word.substr(at + 1);
                const std::string shown = name.starts_with("new") ? std::to_string(++mCount) + name : name;
                words.push_back(word.substr(0, at) + folder.file(shown));
            }
        }
        return runRadvex(words).status;
    }

    TemporaryFolder folder{};
    int mCount = 0;
};

const std::string kBoth = " @good/a.dcm @mixed/cut.dcm";
const std::string kNone = " @missing @mixed/cut.dcm";

} // namespace

TEST_F(ExitStatus, IsNoughtWhenAllIsDone) {
    for (const char* line : {"tags @good/a.dcm @good/b.dcm",
                             "info @good/a.dcm",
                             "frames @good/a.dcm",
                             "image @good/a.dcm -o @new.png",
                             "data @good/a.dcm",
                             "overlays @good/a.dcm",
                             "tags --recursive @good",
                             "tree @good",
                             "index @good -o @new",
                             "series @good -o @new",
                             "volume @good -o @new.nrrd",
                             "anonymize @good @new -q",
                             "view @good --report @new.html",
                             "view @good/a.dcm --report @new.html",
                             "write @picture.png -o @new.dcm",
                             "keyword 0010,0010",
                             "defaults",
                             "errors",
                             "call --list",
                             "tree @other",
                             "tags --recursive @other",
                             "index @other -o @new",
                             "series @other -o @new",
                             "anonymize @other @new -q"}) {
        EXPECT_EQ(statusOf(line), 0) << line;
    }
}

TEST_F(ExitStatus, IsOneWhenWhatWasAskedForIsNotThere) {
    for (const std::string& line : {"tags" + kNone,
                                    "info" + kNone,
                                    "frames" + kNone,
                                    "tags --json" + kNone,
                                    std::string("image @mixed/cut.dcm"),
                                    std::string("data @mixed/cut.dcm"),
                                    std::string("overlays @mixed/cut.dcm"),
                                    std::string("tree @bad"),
                                    std::string("tags --recursive @bad"),
                                    std::string("index @bad -o @new"),
                                    std::string("series @mixed -o @new"),
                                    std::string("series @good --series 9 -o @new"),
                                    std::string("volume @mixed -o @new.nrrd"),
                                    std::string("volume @good --series 9 -o @new.nrrd"),
                                    std::string("anonymize @bad @new -q"),
                                    std::string("anonymize @bad/cut.dcm @new -q"),
                                    std::string("verify @bad -q"),
                                    std::string("view @bad --report @new.html"),
                                    std::string("view @missing --no-browser"),
                                    std::string("write @missing -o @new"),
                                    std::string("number NoSuchWord"),
                                    std::string("call GetFrameCount \"missing\""),
                                    std::string("tree @missing")}) {
        EXPECT_EQ(statusOf(line), 1) << line;
    }
}

TEST_F(ExitStatus, IsTwoForWrongUsage) {
    for (const char* line : {"",
                             "nonsense",
                             "tags",
                             "tags --tag 1,2,3 @good/a.dcm",
                             "info --study ( @good/a.dcm",
                             "frames --nope @good/a.dcm",
                             "image --window 1 @good/a.dcm",
                             "data --overlays @good/a.dcm",
                             "overlays",
                             "tags --recursive @good @bad",
                             "tree @good/a.dcm",
                             "index @good",
                             "series @good -o @new --window 1,2 --common-window",
                             "volume @good -o @new.txt",
                             "anonymize @good @good",
                             "verify @good @good",
                             "view",
                             "view @good --report @new.html --port 1",
                             "write @picture.png",
                             "tags --partial --recursive @good",
                             "keyword PatientName"}) {
        EXPECT_EQ(statusOf(line), 2) << line;
    }
}

TEST_F(ExitStatus, IsThreeWhenNamedFilesAreLeftOut) {
    for (const std::string& line :
         {"tags" + kBoth, "info" + kBoth, "frames" + kBoth, "tags --json" + kBoth, "info --json" + kBoth,
          "tags --jobs 0" + kBoth, std::string("tags --partial @mixed/cut.dcm"),
          std::string("info --partial @mixed/cut.dcm"), std::string("image --partial @mixed/cut.dcm"),
          std::string("data --partial @mixed/cut.dcm"), std::string("tags --recursive @mixed"),
          std::string("tree @mixed"), std::string("tree --json @mixed"), std::string("index @mixed -o @new"),
          std::string("series @mixed -o @new --force"), std::string("volume @mixed -o @new.nrrd --force"),
          std::string("view @mixed --report @new.html"), std::string("anonymize @mixed @new -q"),
          std::string("anonymize --profile none @mixed @new -q")}) {
        EXPECT_EQ(statusOf(line), 3) << line;
    }
}

TEST_F(ExitStatus, TheHelpSaysWhatTheNumbersMean) {
    EXPECT_THAT(runRadvex({"--help"}).output, HasSubstr("3 done but for files that are named on standard error"));
}

TEST_F(ExitStatus, JsonOfFilesThatCannotBeReadIsWholeOrNothing) {
    const std::string good = folder.file("good/a.dcm");
    const std::string cut = folder.file("bad/cut.dcm");
    for (const char* command : {"info", "tags"}) {
        EXPECT_EQ(runRadvex({command, "--json", cut}).output, "") << "an empty object would look like an empty file";
        EXPECT_EQ(Json::parse(runRadvex({command, "--json", cut, folder.file("missing")}).output), Json::object());
        const Json some = Json::parse(runRadvex({command, "--json", cut, good}).output);
        EXPECT_EQ(some.size(), 1U);
        EXPECT_TRUE(some.contains(good));
    }
    EXPECT_EQ(Json::parse(runRadvex({"frames", "--json", cut}).output), Json::array());
}

TEST_F(ExitStatus, IsOneWhenNobodyGetsTheOutput) {
    const std::string good = folder.file("good/a.dcm");
    const Words shell{"sh", "-c", R"("$@" >/dev/full)", "sh", RADVEX_COMMAND};
    for (const Words& words : {Words{"tags", good}, Words{"tags", "--json", good}, Words{"data", good}, Words{"errors"},
                               Words{"help", "tags"}, Words{"--version"}, Words{"completion", "bash"}}) {
        EXPECT_THAT(runProcess(joined(shell, words)), exitsSaying(1, HasSubstr("The output cannot be written")))
            << testing::PrintToString(words);
    }
    EXPECT_EQ(runProcess(joined(shell, {"tags"})).status, 2) << "which says more";
    EXPECT_EQ(runProcess({"sh", "-c", R"("$@" >&-)", "sh", RADVEX_COMMAND, "errors"}).status, 1) << "closed";
    EXPECT_EQ(runProcess({"sh", "-c", R"("$@" >/dev/null)", "sh", RADVEX_COMMAND, "errors"}).status, 0);
}
