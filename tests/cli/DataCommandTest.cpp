// `radvex data`: frames and single pixels, and names of outputs.

#include <filesystem>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class DataCommand : public testing::Test {
  protected:
    /// Three frames of 2 x 3 pixels: 100 * frame + 10 * row + column, all from 1, in HU by a rescale of half.
    static ImageFile frames() {
        ImageFile file{.rows = 2,
                       .columns = 3,
                       .frames = "3",
                       .slope = "0.5",
                       .intercept = "-1000",
                       .words = {},
                       .more = with({{DCM_Modality, "CT"}})};
        for (int frame = 1; frame <= 3; ++frame) {
            for (int pixel = 0; pixel < 6; ++pixel) {
                file.words.push_back(static_cast<Uint16>(100 * frame + 10 * (pixel / 3 + 1) + pixel % 3 + 1));
            }
        }
        return file;
    }
    std::string write(const ImageFile& file) { return writeImageFile(mFolder.file("f.dcm"), file); }
    static ProcessResult run(const Words& words) { return runRadvex(joined({"data"}, words)); }
    /// What NumPy says about the array that was written.
    std::string numpy(const std::string& expression) {
        const ProcessResult done = runProcess({"/usr/bin/python3", "-c",
                                               "import numpy,sys; a=numpy.load(sys.argv[1]); print(" + expression + ")",
                                               mFolder.file("out.npy")});
        EXPECT_EQ(done.errors, "");
        return done.output;
    }

    /// The attribute as bytes that no representation explains.
    static void putUnknown(DcmItem& item, const DcmTagKey& key, const std::string& bytes) {
        auto element = std::make_unique<DcmOtherByteOtherWord>(DcmTag(key, EVR_UN));
        ASSERT_TRUE(
            element
                ->putUint8Array(reinterpret_cast<const Uint8*>(bytes.data()), static_cast<unsigned long>(bytes.size()))
                .good());
        ASSERT_TRUE(item.insert(element.release(), true).good());
    }

    TemporaryFolder mFolder{};
};

} // namespace

TEST_F(DataCommand, FramesOfModalityValuesAreChosenByTheirNumber) {
    ImageFile file = frames();
    file.slope = "1";
    const std::string path = write(file);
    const std::string out = mFolder.file("out.npy");
    EXPECT_EQ(run({path, "--frame", "2", "-o", out}).status, 0);
    EXPECT_EQ(numpy("a.shape, a[0,0], a[1,2]"), "(2, 3) -789 -777\n");
    EXPECT_EQ(run({path, "--frames", "2:3", "-o", out, "--force"}).status, 0);
    EXPECT_EQ(numpy("a.shape, a[0,0,0], a[1,1,2]"), "(2, 2, 3) -789 -677\n");
    EXPECT_EQ(run({path, "--frame", "3"}).output,
              path + ": modality values, <i2 2 x 3, unit HU, minimum -689, maximum -677, mean -683\n");
    EXPECT_THAT(run({path, "--frame", "4"}), exitsSaying(2, HasSubstr("it has frames 1 to 3")));
}

TEST_F(DataCommand, FractionsAreNotCutOff) {
    const std::string path = write(frames()); // 111 / 2 - 1000 is the first value
    EXPECT_EQ(run({path, "--frame", "1"}).output,
              path + ": modality values, <f8 2 x 3, unit HU, minimum -944.5, maximum -938.5, mean -941.5\n");
    EXPECT_EQ(run({path, "--frames", "2:3", "-o", mFolder.file("out.npy")}).status, 0);
    EXPECT_EQ(numpy("a.dtype, a.shape, a[0,0,0], a[1,1,2]"), "float64 (2, 2, 3) -894.5 -838.5\n");
    ImageFile whole = frames();
    whole.slope = "2.0";
    EXPECT_EQ(run({write(whole), "--frame", "1"}).output,
              path + ": modality values, <i2 2 x 3, unit HU, minimum -778, maximum -754, mean -766\n");
}

TEST_F(DataCommand, ADoseIsScaled) {
    ImageFile file = frames();
    file.slope = file.intercept = "";
    file.more = with(
        {{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.481.2"}, {DCM_DoseGridScaling, "0.25"}, {DCM_DoseUnits, "GY"}});
    const std::string path = write(file);
    EXPECT_EQ(run({path, "--frame", "3"}).output,
              path + ": modality values, <f8 2 x 3, unit GY, minimum 77.75, maximum 80.75, mean 79.25\n");
    EXPECT_EQ(run({path, "--frame", "3", "--pixel", "2,3"}).output, "frame 3, row 2, column 3: 80.75 GY\n");
}

TEST_F(DataCommand, ARescaleThatIsNoNumberIsNotGuessed) {
    ImageFile file = frames();
    file.slope = "2,5";
    EXPECT_THAT(run({write(file)}), exitsSaying(1, HasSubstr("RescaleSlope \"2,5\"")));
}

TEST_F(DataCommand, AScalingInAnUnknownRepresentationIsNotLeftOut) {
    ImageFile file = frames();
    file.slope = file.intercept = "";
    for (const DcmTagKey& key :
         {DCM_RescaleSlope, DCM_RescaleIntercept, DCM_DoseGridScaling, DCM_ModalityLUTSequence}) {
        file.more = [&](DcmItem& item) { putUnknown(item, key, "2 "); };
        const std::string path = write(file);
        const auto isRefused = exitsSaying(1, AllOf(HasSubstr(DcmTag(key).getTagName()), HasSubstr("(UN)")));
        EXPECT_THAT(run({path}), isRefused);
        EXPECT_THAT(run({path, "--pixel", "1,1"}), isRefused);
        EXPECT_EQ(run({path, "--rendered"}).status, 0) << "a picture needs no unit";
    }
    file.more = [](DcmItem& item) {
        DcmItem* group = nullptr;
        DcmItem* values = nullptr;
        item.findOrCreateSequenceItem(DCM_SharedFunctionalGroupsSequence, group, -2);
        group->findOrCreateSequenceItem(DCM_PixelValueTransformationSequence, values, -2);
        putUnknown(*values, DCM_RescaleSlope, "2 ");
    };
    EXPECT_THAT(run({write(file)}), exitsSaying(1, HasSubstr("RescaleSlope stands there in an unknown")));
    file.slope = "1"; // with an intercept that cannot be read
    file.more = [](DcmItem& item) { putUnknown(item, DCM_RescaleIntercept, "-1024 "); };
    EXPECT_THAT(run({write(file)}), exitsSaying(1, HasSubstr("RescaleIntercept stands there in an unknown")));
}

TEST_F(DataCommand, OtherAttributesMayHaveAnUnknownRepresentation) {
    ImageFile file = frames();
    file.slope = file.intercept = "";
    file.more = [](DcmItem& item) {
        putUnknown(item, DCM_StationName, "CT1 ");
        putUnknown(item, DcmTagKey(0x0029, 0x1001), "2 ");
    };
    const std::string path = write(file);
    EXPECT_EQ(run({path, "--frame", "1"}).output,
              path + ": modality values, <u2 2 x 3, minimum 111, maximum 123, mean 117\n");
}

TEST_F(DataCommand, ADoseThatSaysNothingAboutItsScalingHasNoValues) {
    ImageFile file = frames();
    file.slope = file.intercept = "";
    file.more = with({{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.481.2"}});
    const std::string path = write(file);
    EXPECT_THAT(run({path}), exitsSaying(1, HasSubstr("is a dose without DoseGridScaling")));
    EXPECT_EQ(run({path, "--rendered"}).status, 0);
}

TEST_F(DataCommand, ValuesAreNotMadeUpForPixelsThatAreMissing) {
    ImageFile file = frames();
    file.frames = "4"; // three are there
    EXPECT_THAT(run({write(file)}), exitsSaying(1, HasSubstr("holds fewer pixels than its attributes promise")));
    file.slope = "1"; // another way through the library
    EXPECT_THAT(run({write(file)}), exitsSaying(1, HasSubstr("holds fewer pixels than its attributes promise")));
    file.frames = "3";
    file.rows = 3;
    EXPECT_THAT(run({write(file)}), exitsSaying(1, HasSubstr("holds fewer pixels than its attributes promise")));
    EXPECT_THAT(run({write(file), "--pixel", "1,1"}), exitsSaying(1, HasSubstr("holds fewer pixels")));
    const ProcessResult shown = run({write(file), "--rendered"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.errors, HasSubstr("warning: " + mFolder.file("f.dcm") + " holds fewer pixels than its"));
    EXPECT_THAT(runRadvex({"image", mFolder.file("f.dcm")}).errors, HasSubstr("the others are made up"));
    file.rows = 2;
    EXPECT_EQ(run({write(file)}).status, 0);
    EXPECT_EQ(run({write(file), "--rendered"}).errors, "");
    file.frames = "2"; // more than is promised
    EXPECT_EQ(run({write(file)}).status, 0);
}

TEST_F(DataCommand, ValuesOfMoreThan32BitsDoNotOverflow) {
    const std::string path = write({.bitsAllocated = 32,
                                    .bitsStored = 32,
                                    .slope = "2",
                                    .intercept = "1",
                                    .words = {0xFFFF, 0x7FFF}}); // 2147483647
    EXPECT_EQ(run({path, "--pixel", "1,1"}).output, "frame 1, row 1, column 1: 4294967295\n");
    EXPECT_THAT(run({path}).output, HasSubstr("minimum 4294967295, maximum 4294967295"));
    const std::string large = write({.slope = "1000000000", .intercept = "0", .words = {50000}});
    EXPECT_THAT(run({large}).output, HasSubstr("minimum 5e+13, maximum 5e+13"));
}

TEST_F(DataCommand, BigEndianPixelsOf32BitsAreRefusedAndOthersAreNot) {
    const ImageFile wide{.bitsAllocated = 32, .bitsStored = 32, .words = {1, 2}};
    const ImageFile narrow{.words = {258}};
    const auto written = [&](const ImageFile& file) {
        return writeImageFile(mFolder.file("big.dcm"), file, EXS_BigEndianExplicit);
    };
    EXPECT_THAT(run({written(wide)}), exitsSaying(1, HasSubstr("big-endian numbers of 32 bits")));
    EXPECT_THAT(run({written(narrow)}).output, HasSubstr("minimum 258, maximum 258"));
    EXPECT_THAT(run({write(wide)}).output, HasSubstr("minimum 131073, maximum 131073"));
}

TEST_F(DataCommand, APixelIsShownWithItsUnitAndNotRounded) {
    const std::string path = write(frames());
    EXPECT_EQ(run({path, "--pixel", "2,3", "--frame", "2"}).output, "frame 2, row 2, column 3: -888.5 HU\n");
    EXPECT_EQ(run({path, "--pixel", "1,1"}).output, "frame 1, row 1, column 1: -944.5 HU\n"
                                                    "frame 2, row 1, column 1: -894.5 HU\n"
                                                    "frame 3, row 1, column 1: -844.5 HU\n");
    const Json json = Json::parse(run({path, "--pixel", "2,1", "--frames", "2:3", "--json"}).output)["pixel"];
    EXPECT_EQ(json["row"], 2);
    EXPECT_EQ(json["unit"], "HU");
    EXPECT_EQ(json["frames"], Json::parse("[{\"frame\":2,\"value\":-889.5},{\"frame\":3,\"value\":-839.5}]"));
}

TEST_F(DataCommand, ColourHasNoModalityValues) {
    const std::string path = write({.rows = 1,
                                    .samples = 3,
                                    .bitsAllocated = 8,
                                    .bitsStored = 8,
                                    .photometric = "RGB",
                                    .planarConfiguration = 0,
                                    .words = {0x0201, 0x0003}});
    EXPECT_THAT(run({path}), exitsSaying(1, HasSubstr("f.dcm is in colour, which has no modality values: --rendered")));
    EXPECT_THAT(run({path, "-o", mFolder.file("out.npy")}), exitsSaying(1, HasSubstr("in colour")));
    EXPECT_EQ(run({path, "--rendered", "-o", mFolder.file("out.npy")}).status, 0);
    EXPECT_EQ(numpy("a.shape, a.ravel().tolist()"), "(1, 1, 3) [1, 2, 3]\n");
}

TEST_F(DataCommand, APixelInColourHasThreeValues) {
    for (const int planar : {0, 1}) {
        const std::string path = write({.rows = 1,
                                        .columns = 2,
                                        .samples = 3,
                                        .bitsAllocated = 8,
                                        .bitsStored = 8,
                                        .photometric = "RGB",
                                        .planarConfiguration = planar,
                                        .words = {0x0201, 0x0403, 0x0605}});
        EXPECT_EQ(run({path, "--pixel", "1,2"}).output,
                  planar == 0 ? "frame 1, row 1, column 2: 4 5 6\n" : "frame 1, row 1, column 2: 2 4 6\n");
    }
}

TEST_F(DataCommand, PixelsOutsideOfTheFileAreRefused) {
    const std::string path = write(frames());
    for (const char* const pixel : {"3,1", "1,4", "18446744073709551615,1"}) {
        EXPECT_THAT(run({path, "--pixel", pixel}), exitsSaying(2, HasSubstr("it has rows 1 to 2 and columns 1 to 3.")));
    }
    for (const char* const pixel : {"0,1", "1,0", "1", "-1,1", "1,1,1", "a,b", ","}) {
        EXPECT_THAT(run({path, "--pixel", pixel}), exitsSaying(2, HasSubstr("ROW,COLUMN is expected")));
    }
    EXPECT_THAT(run({path, "--pixel", "1,1", "--rendered"}), exitsSaying(2, HasSubstr("--pixel")));
}

TEST_F(DataCommand, AnOutputThatWouldNotBeWhatItsNameSaysIsRefused) {
    const std::string path = write(frames());
    for (const char* const name : {"out.txt", "out.csv", "out.TIF", "out.png", "out.npz"}) {
        EXPECT_THAT(run({path, "-o", mFolder.file(name)}), exitsSaying(2, HasSubstr("values are written as .npy")));
        EXPECT_FALSE(std::filesystem::exists(mFolder.file(name)));
    }
    for (const char* const name : {"out.npy", "out", "out.v2"}) {
        EXPECT_EQ(run({path, "-o", mFolder.file(name)}).status, 0) << name;
        EXPECT_TRUE(std::filesystem::exists(mFolder.file(name)));
    }
    EXPECT_THAT(run({path, "-o", "-"}).output, StartsWith("\x93NUMPY"));
}

TEST_F(DataCommand, PicturesAreNotNamedLikeOtherFormats) {
    const std::string path = write(frames());
    for (const char* const name : {"out.jpg", "out.JPEG", "out.tif", "out.bmp", "out.npy"}) {
        EXPECT_THAT(runRadvex({"image", path, "--frame", "1", "-o", mFolder.file(name)}),
                    exitsSaying(2, HasSubstr("pictures are written as PNG")));
        EXPECT_FALSE(std::filesystem::exists(mFolder.file(name)));
    }
    EXPECT_THAT(runRadvex({"image", path, "-o", mFolder.file("x.jpg")}).errors,
                StartsWith("radvex: " + mFolder.file("x.jpg") +
                           " would not be a JPEG: pictures are written as PNG; name it " + mFolder.file("x.png") +
                           ".\n"));
    EXPECT_EQ(runRadvex({"image", path, "--frame", "1", "-o", mFolder.file("out.PNG")}).status, 0);
    EXPECT_EQ(runRadvex({"image", path, "--frame", "1", "-o", mFolder.file("out")}).status, 0);
}
