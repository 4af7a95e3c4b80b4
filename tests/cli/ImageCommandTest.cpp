#include <png.h>

#include <filesystem>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

class ImageCommand : public ::testing::Test {
  protected:
    /// Frames of 2 x 3 bytes that all hold 10 times their number.
    std::string writeFrames(int count) {
        ImageFile file{
            .rows = 2, .columns = 3, .bitsAllocated = 8, .bitsStored = 8, .frames = std::to_string(count), .words = {}};
        for (int frame = 1; frame <= count; ++frame) {
            file.words.insert(file.words.end(), 3, static_cast<Uint16>(frame * 10 * 0x0101));
        }
        return writeImageFile(folder.file("frames.dcm"), file);
    }
    static ProcessResult run(const Words& words) { return runRadvex(joined({"image"}, words)); }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(ImageCommand, WritesEightBitsAsTheyAre) {
    const std::string out = folder.file("out.png");
    const ProcessResult done = run({writeFrames(1), "--scaling", "none", "-o", out});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(done.output, "");
    const PngFile png = readPng(out);
    EXPECT_EQ(png.columns, 3);
    EXPECT_EQ(png.rows, 2);
    EXPECT_EQ(png.bits, 8);
    EXPECT_EQ(png.colorType, PNG_COLOR_TYPE_GRAY);
    EXPECT_EQ(png.grey8, std::vector<unsigned char>(6, 10));
}

TEST_F(ImageCommand, WritesRealsAsSixteenBits) {
    const auto path =
        writeImageFile(folder.file("deep.dcm"),
                       {.rows = 1, .columns = 2, .bitsAllocated = 32, .bitsStored = 32, .words = {0, 0, 0, 2}});
    EXPECT_EQ(run({path, "-o", folder.file("out.png")}).status, 0);
    const PngFile png = readPng(folder.file("out.png"));
    EXPECT_EQ(png.bits, 16);
    EXPECT_THAT(png.grey8, ElementsAre(0, 255));
}

TEST_F(ImageCommand, WritesPlanesInterleaved) {
    const auto path = writeImageFile(folder.file("rgb.dcm"), {.rows = 1,
                                                              .columns = 2,
                                                              .samples = 3,
                                                              .bitsAllocated = 8,
                                                              .bitsStored = 8,
                                                              .photometric = "RGB",
                                                              .planarConfiguration = 1,
                                                              .words = {0x00FF, 0xFF00, 0x0000}}); // red, green
    EXPECT_EQ(run({path, "-o", folder.file("out.png")}).status, 0);
    const std::string bytes = readFile(folder.file("out.png"));
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()), 0);
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> pixels(6);
    ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
    EXPECT_THAT(pixels, ElementsAre(255, 0, 0, 0, 255, 0));
}

TEST_F(ImageCommand, SeveralFramesAreNumberedFilesThatSort) {
    EXPECT_EQ(run({writeFrames(3), "--scaling", "none", "-o", folder.file("out.png")}).status, 0);
    for (int frame = 1; frame <= 3; ++frame) {
        EXPECT_EQ(readPng(folder.file("out-000" + std::to_string(frame) + ".png")).grey8[0], frame * 10);
    }
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
}

TEST_F(ImageCommand, FramesAreChosenByTheirNumberFromOne) {
    const auto path = writeFrames(4);
    EXPECT_EQ(run({path, "--scaling", "none", "--frame", "3", "-o", folder.file("one.png")}).status, 0);
    EXPECT_EQ(readPng(folder.file("one.png")).grey8[0], 30);
    EXPECT_EQ(run({path, "--scaling", "none", "--frames", "2:3", "-o", folder.file("two.png")}).status, 0);
    EXPECT_EQ(readPng(folder.file("two-0002.png")).grey8[0], 20);
    EXPECT_EQ(readPng(folder.file("two-0003.png")).grey8[0], 30);
    EXPECT_FALSE(std::filesystem::exists(folder.file("two-0001.png")));
}

TEST_F(ImageCommand, ASheetHoldsAllFrames) {
    EXPECT_EQ(run({writeFrames(3), "--scaling", "none", "--sheet", "-o", folder.file("sheet.png")}).status, 0);
    const PngFile png = readPng(folder.file("sheet.png"));
    EXPECT_EQ(png.columns, 6);
    EXPECT_EQ(png.rows, 4);
    EXPECT_EQ(png.grey8[0], 10);
    EXPECT_EQ(png.grey8[3], 20);
    EXPECT_EQ(png.grey8[12], 30);
    EXPECT_EQ(png.grey8[15], 0) << "no fourth frame";
}

TEST_F(ImageCommand, SaysWhatThePictureIsLike) {
    const auto path = writeFrames(2);
    EXPECT_EQ(run({path, "--scaling", "none"}).output,
              path + ": 3 x 2, u8, grey, 2 frames, rendered, minimum 10, maximum 20, mean 15\n");
}

TEST_F(ImageCommand, SaysAsJsonWhatItsNumbersAre) {
    // -100 in 12 of 16 bits, signed, in Hounsfield units.
    const auto path = writeImageFile(folder.file("ct.dcm"), {.rows = 1,
                                                             .columns = 2,
                                                             .bitsStored = 12,
                                                             .pixelRepresentation = 1,
                                                             .photometric = "MONOCHROME1",
                                                             .slope = "1",
                                                             .intercept = "0",
                                                             .words = {0x0F9C, 0x0064},
                                                             .more = with({{DCM_Modality, "CT"}})});
    const Json json = Json::parse(run({path, "--json", "--window", "400,40"}).output);
    EXPECT_EQ(json["values"], "rendered");
    EXPECT_EQ(json["signed"], true);
    EXPECT_EQ(json["bitsStored"], 12);
    EXPECT_EQ(json["slope"], 1.0);
    EXPECT_EQ(json["intercept"], 0.0);
    EXPECT_EQ(json["unit"], "HU");
    EXPECT_EQ(json["photometricInterpretation"], "MONOCHROME1");
    EXPECT_EQ(json["polarity"], "MONOCHROME2") << "DCMTK renders low values black";
    EXPECT_EQ(json["window"], Json({{"method", "explicit"}, {"width", 400.0}, {"center", 40.0}}));
    const Json minmax = Json::parse(run({path, "--json"}).output);
    EXPECT_EQ(minmax["window"], Json({{"method", "minmax"}, {"from", -100.0}, {"to", 100.0}}));
    const Json data = Json::parse(runRadvex({"data", "--json", path}).output);
    EXPECT_EQ(data["values"], "modality");
    EXPECT_EQ(data["polarity"], "MONOCHROME1");
    EXPECT_EQ(data["minimum"], -100.0) << "and not 3996";
    EXPECT_EQ(data["maximum"], 100.0);
}

TEST_F(ImageCommand, SaysWhenThePictureIsACopyOfTheStoredValues) {
    const auto path = writeImageFile(folder.file("odd.dcm"),
                                     {.rows = 1, .columns = 2, .bitsStored = 40, .frames = "2", .words = {1, 2, 3, 4}});
    EXPECT_EQ(Json::parse(run({path, "--json"}).output)["values"], "stored");
    EXPECT_EQ(run({path, "--frame", "2", "-o", folder.file("out.png")}).status, 0);
    EXPECT_EQ(readPng(folder.file("out.png")).columns, 2);
}

TEST_F(ImageCommand, RefusesFramesBeyondTheFileAndNarrowWindows) {
    const auto path = writeFrames(4);
    const auto refused = [&](const Words& words, const std::string& sentence) {
        EXPECT_THAT(run(joined({path}, words)), exitsSaying(2, StartsWith("radvex: " + sentence)));
    };
    refused({"--frame", "5"}, "'5' lies outside the file: it has frames 1 to 4.");
    refused({"--frame", "0"}, "'0' lies outside the file");
    refused({"--frames", "3:2"}, "'3:2' lies outside the file");
    refused({"--frames", "3"}, "'3' names no frames");
    refused({"--frame", "1", "--frames", "1:2"}, "--frame and --frames exclude each other.");
    refused({"--window", "0.5,40"}, "--window '0.5,40' has a width below 1");
    refused({"--window", "400"}, "--window '400' is not a window");
    refused({"--window", "nan,0"}, "--window 'nan,0' is not a window");
    refused({"--scaling", "best"}, "--scaling");
    refused({"-o", "-"}, "Several pictures cannot go to the standard output");
}

TEST_F(ImageCommand, ARefusedFileSaysWhyAndDoesNotLookBroken) {
    ImageFile file{.rows = 1, .columns = 1, .bitsAllocated = 8, .bitsStored = 8};
    file.more = [](DcmDataset& dataset) {
        // A frame of 40,000 x 40,000 in a picture of one pixel: start of image, frame header, end of image.
        const std::string jpeg("\xFF\xD8\xFF\xC0\0\x0B\x08\x9C\x40\x9C\x40\x01\x01\x11\0\xFF\xD9\0", 18);
        putFragments(dataset, EXS_JPEGProcess1, {jpeg});
    };
    const auto path = writeImageFile(folder.file("a.dcm"), file, EXS_JPEGProcess1);
    EXPECT_THAT(run({path, "-o", folder.file("out.png")}),
                exitsSaying(1, HasSubstr("the JPEG frame is larger than the image")));
}

TEST_F(ImageCommand, AFolderThatIsNotThereCostsNothing) {
    EXPECT_THAT(run({writeFrames(1), "-o", "/nonexistent/out.png"}),
                exitsSaying(1, "radvex: /nonexistent/out.png cannot be written: No such file or directory.\n"));
}

TEST_F(ImageCommand, AFullDiskIsToldAndNotIgnored) {
    // /dev/full refuses every byte, as a full disk does.
    const ProcessResult done =
        runProcess({"bash", "-c", std::string(RADVEX_COMMAND) + " image " + writeFrames(1) + " -o - > /dev/full"});
    EXPECT_THAT(done, exitsSaying(1, HasSubstr("cannot be written")));
}

TEST_F(ImageCommand, DataAreNumpysAndSayTheirShape) {
    const auto path =
        writeImageFile(folder.file("f.dcm"), {.rows = 2,
                                              .columns = 3,
                                              .frames = "2",
                                              .slope = "1",
                                              .intercept = "-1000",
                                              .words = {0, 1, 2, 10, 11, 12, 100, 101, 102, 110, 111, 112}});
    const std::string out = folder.file("out.npy");
    EXPECT_EQ(runRadvex({"data", path, "-o", out}).status, 0);
    const ProcessResult numpy =
        runProcess({"/usr/bin/python3", "-c",
                    "import numpy,sys; a=numpy.load(sys.argv[1]); print(a.dtype, a.shape, a[1,1,2], a[0,0,1])", out});
    EXPECT_EQ(numpy.output, "int16 (2, 2, 3) -888 -999\n") << numpy.errors;
    EXPECT_EQ(runRadvex({"data", "--rendered", "--scaling", "none", path, "-o", out, "--force"}).status, 0);
    EXPECT_EQ(runProcess({"/usr/bin/python3", "-c", "import numpy,sys; a=numpy.load(sys.argv[1]); print(a.shape)", out})
                  .output,
              "(2, 2, 3)\n");
}

TEST_F(ImageCommand, OverlaysAreOneBitPictures) {
    ImageFile file{.rows = 1, .columns = 3, .words = {0, 0, 0}};
    file.more = [](DcmDataset& dataset) { putOverlay(dataset, 0x6000, {.columns = 3, .bits = 0b101}); };
    const auto path = writeImageFile(folder.file("o.dcm"), file);
    const std::string planes = folder.file("planes");
    EXPECT_EQ(runRadvex({"overlays", path, "-o", planes}).output, "plane 1: 3 x 1, " + planes + "/overlay-1.png\n");
    const PngFile png = readPng(planes + "/overlay-1.png");
    EXPECT_EQ(png.bits, 1);
    EXPECT_THAT(png.grey8, ElementsAre(255, 0, 255));
    EXPECT_EQ(runRadvex({"overlays", writeFrames(1)}).output, folder.file("frames.dcm") + " has no overlay planes.\n");
}
