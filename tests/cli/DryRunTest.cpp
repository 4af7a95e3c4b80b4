// --dry-run says what a run would do, refuses what it would refuse, and changes nothing.

#include <sys/stat.h>

#include <map>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

class DryRun : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directory(folder.file("in"));
        fs::create_directory(folder.file("tmp"));
        for (const char* name : {"a", "b", "c"}) {
            writeInput(name);
        }
        folder.write("in/notes.txt", "no DICOM");
        folder.write("picture.png", pngFile({.columns = 4, .rows = 2, .data = "12345678"}));
    }
    void writeInput(const std::string& name) const {
        writeDicom(folder.file("in/" + name),
                   with({{DCM_PatientID, "P"},
                         {DCM_StudyInstanceUID, "1.2"},
                         {DCM_SeriesInstanceUID, "1.2.3"},
                         {DCM_SOPInstanceUID, "1.2.3." + std::to_string(static_cast<int>(name.front()))}}));
    }
    /// Runs in the folder; only its "tmp" is for temporary files.
    ProcessResult run(const Words& words) const {
        return runProcess(
            joined({"env", "-C", folder.path().string(), "TMPDIR=" + folder.file("tmp"), RADVEX_COMMAND}, words));
    }
    /// Everything below the folder: bytes and times of files, targets of links.
    std::map<std::string, std::string> state() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
            struct stat status {};
            EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
            const std::string time =
                std::to_string(status.st_mtim.tv_sec) + '.' + std::to_string(status.st_mtim.tv_nsec);
            found[entry.path().string()] = entry.is_symlink()                 ? fs::read_symlink(entry.path()).string()
                                           : entry.is_regular_file()          ? time + readFile(entry.path().string())
                                           : entry.path().filename() == "tmp" ? ""
                                                                              : time;
        }
        return found;
    }
    /// Runs with --dry-run and makes sure that nothing has changed.
    ProcessResult rehearse(const Words& words) const {
        const auto before = state();
        const ProcessResult done = run(joined(words, {"--dry-run"}));
        EXPECT_EQ(state(), before);
        return done;
    }
    /// Both runs refuse, with the same words and status.
    void expectSameRefusal(const Words& words, const std::string& said) const {
        const ProcessResult rehearsed = rehearse(words);
        const ProcessResult real = run(words);
        EXPECT_THAT(rehearsed.errors, HasSubstr(said));
        EXPECT_NE(rehearsed.status, 0);
        EXPECT_EQ(rehearsed.status, real.status);
        EXPECT_EQ(rehearsed.errors, real.errors);
        EXPECT_EQ(rehearsed.output, "");
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(DryRun, IndexSaysWhichLinksAreNewWhichStayAndWhichAreNotListedAnyMore) {
    const ProcessResult first = rehearse({"index", "in", "-o", "out"});
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.output, "out/DICOMDIR would be made: 1 patient, 1 study, 1 series, 3 files (1 skipped, 0 refused)\n"
                            "+ I0000000  in/a\n+ I0000001  in/b\n+ I0000002  in/c\n");
    EXPECT_EQ(first.errors, "radvex: 1 file is not DICOM and was skipped.\n");
    ASSERT_EQ(run({"index", "in", "-o", "out"}).status, 0);
    fs::remove(folder.file("in/b"));
    writeInput("d");
    const Words again{"index", "in", "-o", "out", "--force"};
    EXPECT_EQ(rehearse(again).output,
              "out/DICOMDIR would be replaced: 1 patient, 1 study, 1 series, 3 files (1 skipped, 0 refused)\n"
              "= I0000000  in/a\n= I0000002  in/c\n+ I0000003  in/d\n- I0000001  " +
                  folder.file("in/b") + '\n');
    const Json planned = Json::parse(rehearse(joined(again, {"--json"})).output);
    EXPECT_EQ(planned["files"], Json::parse(run(joined(again, {"--json"})).output)["files"]);
    EXPECT_TRUE(fs::is_symlink(folder.file("out/I0000001"))) << "not listed, and still there";
}

TEST_F(DryRun, IndexDoesWhatItSaid) {
    const Json planned = Json::parse(rehearse({"index", "in", "-o", "out", "--json"}).output);
    const Json done = Json::parse(run({"index", "in", "-o", "out", "--json"}).output);
    EXPECT_EQ(planned["isDryRun"], true);
    EXPECT_EQ(planned["replacesDicomdir"], false);
    EXPECT_EQ(planned["kept"], Json::array());
    EXPECT_EQ(planned["dropped"], Json::array());
    for (const auto& [key, value] : done.items()) {
        EXPECT_EQ(planned[key], value) << key;
    }
}

TEST_F(DryRun, IndexRefusesWhatTheRealRunRefuses) {
    expectSameRefusal({"index", "missing", "-o", "out"}, "missing");
    expectSameRefusal({"index", "in", "-o", "picture.png"}, "picture.png");
    expectSameRefusal({"index", "in", "-o", "missing/out"}, "missing/out");
    fs::create_directory(folder.file("empty"));
    expectSameRefusal({"index", "empty", "-o", "out"}, "holds no DICOM file");
    ASSERT_EQ(run({"index", "in", "-o", "out"}).status, 0);
    expectSameRefusal({"index", "in", "-o", "out"}, "--force replaces it");
    if (geteuid() != 0) { // root may write anywhere
        fs::create_directory(folder.file("locked"));
        fs::permissions(folder.file("locked"), fs::perms(0555));
        expectSameRefusal({"index", "in", "-o", "locked"}, "locked");
    }
}

TEST_F(DryRun, IndexNamesFilesThatItWouldLeaveOut) {
    folder.write("in/broken.dcm", readFile(folder.file("in/a")).substr(0, 200));
    const ProcessResult planned = rehearse({"index", "in", "-o", "out"});
    EXPECT_EQ(planned.status, 3);
    const ProcessResult done = run({"index", "in", "-o", "out"});
    EXPECT_EQ(done.status, 3);
    EXPECT_EQ(planned.errors, done.errors);
}

namespace {

/// Of all UIDs that `radvex tags` prints, in the file: a UID has an even number of bytes.
std::size_t bytesOfUids(const std::string& tags) {
    std::size_t count = 0;
    std::istringstream lines(tags);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t label = line.find(" UI  ");
        const std::size_t length = label == std::string::npos ? 0 : line.size() - label - 5;
        count += length + length % 2;
    }
    return count;
}

} // namespace

TEST_F(DryRun, WriteShowsSizeAndAttributesOfTheFile) {
    const Words words{"write", "picture.png", "-o", "out.dcm", "--tag", "PatientID=P1", "--compress", "RLE"};
    const ProcessResult planned = rehearse(words);
    EXPECT_EQ(planned.status, 0) << planned.errors;
    ASSERT_EQ(run(words).status, 0);
    const std::string start = "out.dcm would be written: ";
    ASSERT_THAT(planned.output, StartsWith(start));
    // New UIDs are not equally long each time.
    EXPECT_EQ(std::stoul(planned.output.substr(start.size())) - bytesOfUids(planned.output),
              fs::file_size(folder.file("out.dcm")) - bytesOfUids(run({"tags", "out.dcm"}).output));
    EXPECT_THAT(planned.output, HasSubstr(", RLE\n"));
    EXPECT_THAT(planned.output, HasSubstr("\nPatientID                           LO  P1\n"));
    const auto labels = [](const std::string& text) {
        std::vector<std::string> names;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            names.push_back(line.substr(0, line.find(' ')));
        }
        return names;
    };
    std::vector<std::string> shown = labels(planned.output);
    shown.erase(shown.begin());
    EXPECT_EQ(shown, labels(run({"tags", "out.dcm"}).output));
    EXPECT_THAT(rehearse(joined(words, {"--force"})).output, StartsWith("out.dcm would be replaced: "));
}

TEST_F(DryRun, WriteRefusesWhatTheRealRunRefuses) {
    folder.write("there.dcm", "precious");
    expectSameRefusal({"write", "picture.png", "-o", "there.dcm"}, "--force replaces it");
    expectSameRefusal({"write", "picture.png", "-o", "picture.png", "--force"}, "is read by this command");
    expectSameRefusal({"write", "picture.png", "-o", "missing/out.dcm"}, "missing/out.dcm cannot be written");
    expectSameRefusal({"write", "picture.png", "-o", "in", "--force"}, "in ");
    expectSameRefusal({"write", "missing.png", "-o", "out.dcm"}, "missing.png");
    expectSameRefusal({"write", "picture.png", "-o", "out.dcm", "--tag", "Rows=x"}, "--tag Rows=x");
    expectSameRefusal({"write", "picture.png", "-o", "out.dcm", "--tag", "PatientBirthDate=x"}, "PatientBirthDate");
    expectSameRefusal({"write", "picture.png", "-o", "out.dcm", "--compress", "ZIP"}, "ZIP");
    expectSameRefusal({"write", "picture.png", "-o", "out.dcm", "--default", "Nonsense=1"}, "Nonsense");
}

TEST_F(DryRun, WriteToTheStandardOutputPrintsNoFile) {
    const ProcessResult planned = rehearse({"write", "picture.png", "-o", "-"});
    EXPECT_EQ(planned.status, 0);
    EXPECT_THAT(planned.output, StartsWith("The standard output would be written: "));
    EXPECT_THAT(planned.output, Not(HasSubstr(std::string("\0", 1))));
}
