#include <filesystem>

#include "dcmtk/dcmdata/dcuid.h"
#include "tests/cli/Commands.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

class UnreadableFiles : public ::testing::Test {
  protected:
    std::string image(const std::string& name, const Fill& more = {}) const {
        return writeImageFile(folder.file(name), {.rows = 2, .columns = 2, .words = {1, 2, 3, 4}, .more = more});
    }
    std::string cut(const std::string& name) const {
        const std::string whole = readFile(image("whole.dcm"));
        return folder.write(name, whole.substr(0, whole.size() - 3));
    }
    std::string sentenceAboutCut(const std::string& path) const {
        const std::size_t size = std::filesystem::file_size(path);
        return path + " is cut off at byte " + std::to_string(size) + " of " + std::to_string(size + 3) +
               ", in its pixels.";
    }

    TemporaryFolder folder{};
};

const std::vector<Words> kReadingCommands{{"tags"}, {"info"}, {"frames"}, {"image"}, {"data"}, {"overlays"}};

} // namespace

TEST_F(UnreadableFiles, EveryCommandSaysWhatAFileIsThatIsNotDicom) {
    const std::pair<std::string, std::string> files[] = {
        {folder.write("a", pngFile({.data = "x"})), " is not a DICOM file: it looks like a PNG picture."},
        {folder.write("b", "A letter."), " is not a DICOM file: it looks like a text."},
        {folder.write("c", ""), " is not a DICOM file: it is empty."},
        {folder.file("missing"), " does not exist."},
        {folder.path().string(), " is a folder: use `radvex series`, `radvex volume` or `radvex tags --recursive`."}};
    for (const auto& [file, sentence] : files) {
        for (const Words& command : kReadingCommands) {
            EXPECT_THAT(runRadvex(joined(command, {file})), exitsSaying(1, "radvex: " + file + sentence + '\n'))
                << command.front();
        }
    }
}

TEST_F(UnreadableFiles, EveryCommandSaysWhereAFileIsCutOff) {
    const std::string file = cut("cut.dcm");
    for (const Words& command : kReadingCommands) {
        EXPECT_THAT(runRadvex(joined(command, {file})), exitsSaying(1, "radvex: " + sentenceAboutCut(file) + '\n'))
            << command.front();
    }
    for (const Words& words : {Words{"anonymize", file, folder.file("out.dcm"), "-q"}, Words{"verify", file, "-q"},
                               Words{"anonymize", "--profile", "none", file, folder.file("out.dcm"), "-q"}}) {
        EXPECT_THAT(runRadvex(words), exitsSaying(1, HasSubstr("radvex: " + sentenceAboutCut(file) + '\n')));
    }
}

TEST_F(UnreadableFiles, OtherProcessesSayTheSame) {
    const std::string file = cut("cut.dcm");
    const std::string good = image("good.dcm");
    for (const char* command : {"tags", "info", "frames"}) {
        for (const char* jobs : {"0", "2"}) {
            EXPECT_THAT(runRadvex({command, "--jobs", jobs, file, good}),
                        exitsSaying(3, "radvex: " + sentenceAboutCut(file) + '\n'));
        }
    }
}

TEST_F(UnreadableFiles, AFolderIsReadWithoutThemAndSaysSo) {
    std::filesystem::create_directory(folder.file("F"));
    const std::string file = cut("F/cut.dcm");
    image("F/good.dcm", with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.3"}, {DCM_PatientID, "P"}}));
    const std::string reason = sentenceAboutCut(file).substr(file.size());
    const auto expected = HasSubstr("radvex: " + file + " was left out: it" + reason + '\n');
    for (const Words& words : {Words{"tree", folder.file("F")}, Words{"tags", "--recursive", folder.file("F")},
                               Words{"index", folder.file("F"), "-o", folder.file("I")}}) {
        EXPECT_THAT(runRadvex(words), exitsSaying(3, expected)) << words.front();
    }
    const ProcessResult index = runRadvex({"index", folder.file("F"), "-o", folder.file("J"), "--json"});
    EXPECT_EQ(Json::parse(index.output)["refused"][0]["reason"], "it" + reason.substr(0, reason.size() - 1));
    for (const Words& words : {Words{"series", folder.file("F"), "-o", folder.file("S")},
                               Words{"volume", folder.file("F"), "-o", folder.file("v.nrrd")}}) {
        EXPECT_THAT(runRadvex(words), exitsSaying(1, expected)) << words.front();
        EXPECT_THAT(runRadvex(joined(words, {"--force"})), exitsSaying(3, expected)) << words.front();
    }
}

TEST_F(UnreadableFiles, AFileWithoutPixelsSaysWhatItIs) {
    const std::string plan = writeDicom(folder.file("plan.dcm"), with({{DCM_SOPClassUID, UID_RTPlanStorage}}));
    for (const char* command : {"image", "data", "overlays"}) {
        EXPECT_THAT(runRadvex({command, plan}),
                    exitsSaying(1, "radvex: " + plan + " has no pixels (it is an RT Plan).\n"))
            << command;
    }
    EXPECT_EQ(runRadvex({"tags", plan}).status, 0);
}

TEST_F(UnreadableFiles, ACompressionThatNothingDecodesIsNamed) {
    const std::string file = writeImageFile(
        folder.file("video.dcm"),
        {.rows = 2,
         .columns = 2,
         .more =
             [](DcmDataset& dataset) { putFragments(dataset, EXS_MPEG4HighProfileLevel4_1, {std::string(64, 'x')}); }},
        EXS_MPEG4HighProfileLevel4_1);
    EXPECT_THAT(
        runRadvex({"image", file}),
        exitsSaying(1, HasSubstr(file + " has pixels compressed with MPEG-4 AVC, which cannot be decoded here")));
    EXPECT_EQ(runRadvex({"tags", file}).status, 0);
}

TEST_F(UnreadableFiles, TheGuardKeepsItsOwnSentence) {
    const std::string deep = folder.write("deep.dcm", withMeta(kExplicit, nested({}, 5000)));
    EXPECT_THAT(runRadvex({"tags", deep}), exitsSaying(1, HasSubstr("sequences nested over 100 levels")));
    const std::string fine = folder.write("fine.dcm", withMeta(kExplicit, nested({}, 90)));
    EXPECT_EQ(runRadvex({"tags", fine}).status, 0);
}

TEST_F(UnreadableFiles, ADicomdirThatCannotBeReadSaysWhy) {
    std::filesystem::create_directory(folder.file("M"));
    const std::string text = folder.write("M/DICOMDIR", "A letter.");
    const std::string missing = folder.file("nowhere/DICOMDIR");
    for (const char* jobs : {"0", "2"}) {
        EXPECT_THAT(runRadvex({"tree", "--jobs", jobs, text}),
                    exitsSaying(1, "radvex: " + text + " is not a DICOM file: it looks like a text.\n"));
        EXPECT_THAT(runRadvex({"tree", "--jobs", jobs, missing}),
                    exitsSaying(1, "radvex: " + missing + " does not exist.\n"));
    }
    EXPECT_THAT(runRadvex({"tree", folder.file("nowhere")}),
                exitsSaying(1, "radvex: " + folder.file("nowhere") + " does not exist.\n"));
}

TEST_F(UnreadableFiles, NoWordsOfDcmtkAreSaid) {
    // Whatever byte a file ends at, people read about their file and not about streams.
    const std::string whole = readFile(image("whole.dcm"));
    Words files{"frames"};
    for (std::size_t size = 0; size < whole.size(); size += 7) {
        files.push_back(folder.write(std::to_string(size), whole.substr(0, size)));
    }
    const ProcessResult run = runRadvex(files);
    EXPECT_THAT(run.errors, Not(HasSubstr("stream")));
    EXPECT_THAT(run.errors, Not(HasSubstr("I/O")));
    EXPECT_THAT(run.errors, HasSubstr(" is cut off at byte "));
}
