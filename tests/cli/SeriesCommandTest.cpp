#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

class SeriesCommand : public testing::Test {
  protected:
    /// Writes a file of 1 x 2 pixels in each frame.
    void write(const std::string& fileId, int number, const std::vector<Uint16>& words,
               const std::string& frames = "") {
        writeSlice(mFolder, {.fileId = fileId,
                             .number = number,
                             .words = words,
                             .file = {.rows = 1, .columns = 2, .bitsStored = 8, .frames = frames, .words = {}}});
    }
    std::string writeSeries(const MediumRecord& series) {
        return writeMedium(mFolder, {patientRecord("P", "N", {studyRecord("1.2", {series})})});
    }
    /// Three slices, in the directory in another order than their numbers.
    std::string writeThree() {
        write("S\\A", 3, {0, 30});
        write("S\\B", 1, {0, 10});
        write("S\\C", 2, {0, 20});
        return writeSeries(seriesOf("1.2.1", {"S\\A", "S\\B", "S\\C"}));
    }
    ProcessResult series(const std::string& medium, const Words& more = {}) {
        return runRadvex(joined({"series", medium, "-o", mOut}, more));
    }
    Words written() {
        Words names;
        if (!fs::exists(mOut)) {
            return names;
        }
        for (const auto& entry : fs::recursive_directory_iterator(mOut)) {
            if (entry.is_regular_file()) {
                names.push_back(fs::relative(entry.path(), mOut).string());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    TemporaryFolder mFolder{};
    TemporaryFolder mAround{};
    std::string mOut = mAround.file("out");
};

} // namespace

TEST_F(SeriesCommand, NamesPicturesSoThatTheySortInSliceOrder) {
    const ProcessResult run = series(writeThree(), {"--scaling", "none", "--json"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(written(), ElementsAre("0001-CT-1/0001.png", "0001-CT-1/0002.png", "0001-CT-1/0003.png"));
    const Json report = Json::parse(run.output);
    EXPECT_EQ(report[0]["pictures"][0]["file"], mFolder.file("S/B"));
    EXPECT_EQ(report[0]["pictures"][1]["file"], mFolder.file("S/C"));
    EXPECT_EQ(report[0]["pictures"][2]["file"], mFolder.file("S/A"));
}

TEST_F(SeriesCommand, OneWindowForAllMakesGreyValuesComparable) {
    EXPECT_EQ(series(writeThree(), {"--common-window"}).status, 0);
    // Values 0 to 30: width 30, centre 15. DICOM's linear function puts 0.5 + (15 - 0.5 - 29/2, 15 - 0.5 + 29/2) to
    // black and white (PS3.3 C.11.2.1.2), so that 10 and 20 lie at 10/29 and 20/29 of the way, 30 beyond the end.
    const auto brightest = [&](const char* name) { return readPng(mOut + "/0001-CT-1/" + name).grey8.back(); };
    EXPECT_NEAR(brightest("0001.png"), 255.0 * 10 / 29, 1.0);
    EXPECT_NEAR(brightest("0002.png"), 255.0 * 20 / 29, 1.0);
    EXPECT_EQ(brightest("0003.png"), 255);
}

TEST_F(SeriesCommand, FramesOfAFileFollowItsNumber) {
    write("S\\A", 1, {0, 1, 2, 3}, "2");
    write("S\\B", 2, {0, 1});
    const auto medium = writeSeries(seriesRecord("1.2.1", "MR", {imageRecord("S\\A", 1), imageRecord("S\\B", 2)}));
    EXPECT_EQ(series(medium).status, 0);
    EXPECT_THAT(written(), ElementsAre("0001-MR-1/0001-0001.png", "0001-MR-1/0001-0002.png", "0001-MR-1/0002.png"));
}

TEST_F(SeriesCommand, WritesNothingOfASeriesThatLacksPicturesUnlessForced) {
    const auto medium = writeThree();
    fs::remove(mediumPath(mFolder, "S\\B"));
    const ProcessResult refused = series(medium, {"--json"});
    EXPECT_THAT(refused, exitsSaying(1, HasSubstr("radvex: " + mFolder.file("S/B") + " does not exist.\n")));
    EXPECT_THAT(refused.errors, HasSubstr("is not written, since pictures may be missing; --force writes it."));
    EXPECT_THAT(written(), IsEmpty());
    const Json report = Json::parse(refused.output)[0];
    EXPECT_TRUE(report["pictures"].empty());
    EXPECT_EQ(report["missing"][0]["file"], mFolder.file("S/B"));
    EXPECT_EQ(series(medium, {"--force"}).status, 3);
    EXPECT_THAT(written(), ElementsAre("0001-CT-1/0001.png", "0001-CT-1/0002.png"));
}

TEST_F(SeriesCommand, AFileOfTheFolderThatCannotBeParsedMayBelongToAnySeries) {
    ImageFile file{.rows = 1, .columns = 2};
    file.words = {0, 1};
    file.more = with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}, {DCM_PatientID, "P"}});
    const std::string whole = writeImageFile(mFolder.file("a.dcm"), file);
    EXPECT_EQ(series(mFolder.path().string()).status, 0);
    std::filesystem::remove_all(mOut);
    mFolder.write("b.dcm", readFile(whole).substr(0, 400)); // cut in the middle of an element
    const ProcessResult refused = series(mFolder.path().string(), {"--json"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(Json::parse(refused.output)[0]["missing"][0]["file"], mFolder.file("b.dcm"));
}

TEST_F(SeriesCommand, NamesOfSeriesNeverLeaveTheFolder) {
    write("A", 1, {0, 1});
    const auto medium = writeSeries(
        seriesRecord("1.2.1", "CT", {imageRecord("A", 1)}, with({{DCM_Modality, "../../X"}, {DCM_SeriesNumber, "1"}})));
    EXPECT_EQ(series(medium).status, 0);
    EXPECT_THAT(written(), ElementsAre("0001-X-1/0001.png"));
}

TEST_F(SeriesCommand, APlainFolderIsNamedInMessagesAndNotItsIndex) {
    for (int number = 1; number <= 2; ++number) {
        ImageFile file{.rows = 1, .columns = 2};
        file.words = {0, 1};
        file.more = [number](DcmDataset& dataset) {
            const std::string uid = "1.2.3." + std::to_string(number);
            put(dataset, {{DCM_SOPInstanceUID, uid},
                          {DCM_StudyInstanceUID, "1.2"},
                          {DCM_SeriesInstanceUID, "1.2.3"},
                          {DCM_PatientID, "P"}});
            if (number == 2) {
                dataset.putAndInsertUint16(DCM_Rows, 0);
                delete dataset.remove(DCM_PixelData);
            }
        };
        writeImageFile(mFolder.file("slice " + std::to_string(number) + ".dcm"), file);
    }
    const ProcessResult run = series(mFolder.path().string(), {"--json", "--force"});
    EXPECT_THAT(run, exitsSaying(3, HasSubstr(mFolder.file("slice 2.dcm") + " has no pixels")));
    EXPECT_THAT(run.errors, Not(HasSubstr("I000000")));
    EXPECT_EQ(Json::parse(run.output)[0]["pictures"][0]["file"], mFolder.file("slice 1.dcm"));
}

TEST_F(SeriesCommand, TwoWindowsAtOnceAreWrongUsage) {
    EXPECT_THAT(series(writeThree(), {"--window", "10,5", "--common-window"}),
                exitsSaying(2, HasSubstr("--window and --common-window exclude each other.")));
    EXPECT_FALSE(fs::exists(mOut));
}

TEST_F(SeriesCommand, ASheetShowsAllSlicesInOnePicture) {
    const std::string medium = writeThree();
    const ProcessResult run = series(medium, {"--sheet", "--json"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(written(), ElementsAre("0001-CT-1.png"));
    const PngFile sheet = readPng(mOut + "/0001-CT-1.png");
    EXPECT_EQ(sheet.columns, 2 * 192) << "two tiles across";
    EXPECT_EQ(sheet.rows, 2 * 192);
    const Json report = Json::parse(run.output)[0];
    EXPECT_EQ(report["pictures"].size(), 3);
    EXPECT_EQ(report["pictures"][0]["file"], mFolder.file("S/B")) << "in slice order";
    EXPECT_EQ(report["pictures"][0]["number"], 1);
    EXPECT_EQ(report["pictures"][2]["written"], mOut + "/0001-CT-1.png");
    // A picture of 1 x 2 pixels fills its tile from side to side: the left half black, the right one white.
    const auto greyAt = [&](std::size_t row, std::size_t column) { return sheet.grey8[row * 384 + column]; };
    EXPECT_EQ(greyAt(96, 90), 0);
    EXPECT_EQ(greyAt(96, 102), 255);
    EXPECT_EQ(greyAt(96, 192 + 90), 0);
    EXPECT_EQ(greyAt(192 + 96, 102), 255);
    EXPECT_EQ(greyAt(192 + 96, 192 + 102), greyAt(192 + 96, 192 + 90)) << "no fourth slice";
}

TEST_F(SeriesCommand, ASheetTakesACommonWindowAndSaysWhatIsMissing) {
    const std::string medium = writeThree();
    EXPECT_EQ(series(medium, {"--sheet", "--common-window"}).status, 0);
    const PngFile sheet = readPng(mOut + "/0001-CT-1.png");
    EXPECT_LT(sheet.grey8[96 * 384 + 102], 150) << "10 of 30";
    EXPECT_EQ(sheet.grey8[(192 + 96) * 384 + 102], 255) << "30 of 30";
    fs::remove_all(mOut);
    fs::remove(mediumPath(mFolder, "S\\B"));
    EXPECT_EQ(series(medium, {"--sheet"}).status, 1);
    EXPECT_THAT(written(), IsEmpty());
}

TEST_F(SeriesCommand, AFolderIsNotNamedLikeAPicture) {
    const std::string medium = writeThree();
    const std::string named = mAround.file("out.png");
    EXPECT_THAT(runRadvex({"series", medium, "-o", named}), exitsSaying(2, HasSubstr("would be a folder")));
    EXPECT_FALSE(fs::exists(named));
    fs::create_directories(named); // whoever has such a folder means it
    EXPECT_EQ(runRadvex({"series", medium, "-o", named}).status, 0);
    EXPECT_TRUE(fs::exists(named + "/0001-CT-1/0001.png"));
}

TEST_F(SeriesCommand, ExchangedNumbersOfAWindowAreNoticedOnce) {
    const std::string medium = writeThree();
    const std::string doubt = "has the width 1 and the centre 30";
    const ProcessResult run = series(medium, {"--window", "1,30"});
    EXPECT_THAT(run, exitsSaying(0, HasSubstr(doubt)));
    EXPECT_EQ(run.errors.find(doubt), run.errors.rfind(doubt));
    EXPECT_EQ(series(medium, {"--window", "30,1", "--force"}).errors, "");
}
