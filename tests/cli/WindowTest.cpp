// --window: presets, the file's own window, and what is said about windows that show nothing.

#include <png.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

/// The samples of a grey PNG of 16 bits as parts of 255, by libpng's simplified interface, which would turn them into
/// sRGB of 8 bits if it was asked for these.
std::vector<double> greysOf(const std::string& path) {
    const std::string bytes = readFile(path);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
        throw std::runtime_error(path + " is no PNG.");
    }
    image.format = PNG_FORMAT_LINEAR_Y;
    std::vector<std::uint16_t> samples(PNG_IMAGE_SIZE(image) / sizeof(std::uint16_t));
    png_image_finish_read(&image, nullptr, samples.data(), 0, nullptr);
    std::vector<double> greys;
    for (const std::uint16_t sample : samples) {
        greys.push_back(sample / 257.0);
    }
    return greys;
}

/// Grey of a value under a window, by the linear function (PS3.3 C.11.2.1.2.1).
double greyOf(double value, double width, double center) {
    const double share = (value - (center - 0.5)) / (width - 1) + 0.5;
    return 255 * std::clamp(share, 0.0, 1.0);
}

class WindowTest : public testing::Test {
  protected:
    /// HU from -1000 to 1000 in steps of 250.
    static std::vector<double> values() { return {-1000, -750, -500, -250, 0, 250, 500, 750, 1000}; }
    static ImageFile ct(const Attributes& more = {}) {
        ImageFile file{.rows = 1, .columns = 9, .bitsStored = 12, .slope = "1", .intercept = "-1024", .words = {}};
        for (const double value : values()) {
            file.words.push_back(static_cast<Uint16>(value + 1024));
        }
        Attributes all{{DCM_Modality, "CT"}};
        all.insert(all.end(), more.begin(), more.end());
        file.more = with(all);
        return file;
    }
    std::string write(const ImageFile& file, const std::string& name = "ct.dcm") {
        return writeImageFile(mFolder.file(name), file);
    }
    ProcessResult image(const std::string& file, const std::string& window, const Words& more = {}) {
        return runRadvex(joined({"image", file, "--window", window, "-o", mFolder.file("out.png"), "--force"}, more));
    }
    std::vector<double> drawn() { return greysOf(mFolder.file("out.png")); }
    /// Expects the picture of `image` to show these values under this window.
    void expectWindow(const std::vector<double>& shown, double width, double center) {
        const std::vector<double> greys = drawn();
        ASSERT_EQ(greys.size(), shown.size());
        for (std::size_t index = 0; index < shown.size(); ++index) {
            EXPECT_NEAR(greys[index], greyOf(shown[index], width, center), 1.0) << shown[index];
        }
    }

    TemporaryFolder mFolder{};
};

/// An enhanced CT: stored values 0, 100, 200 in each frame, and a rescale in functional groups.
ImageFile enhanced(const std::string& slope, const std::vector<std::string>& centers, bool isOfFrames) {
    ImageFile file{.rows = 1, .columns = 3, .bitsStored = 12, .frames = std::to_string(centers.size()), .words = {}};
    for (std::size_t frame = 0; frame < centers.size(); ++frame) {
        file.words.insert(file.words.end(), {0, 100, 200});
    }
    file.more = [=](DcmDataset& dataset) {
        const Attributes rescale{{DCM_RescaleSlope, slope}, {DCM_RescaleIntercept, "-100"}, {DCM_RescaleType, "HU"}};
        DcmItem& shared = addItem(dataset, DCM_SharedFunctionalGroupsSequence);
        if (!isOfFrames) {
            put(addItem(shared, DCM_PixelValueTransformationSequence), rescale);
        }
        for (const std::string& center : centers) {
            DcmItem& frame = addItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
            put(addItem(frame, DCM_FrameVOILUTSequence), {{DCM_WindowCenter, center}, {DCM_WindowWidth, "400"}});
            if (isOfFrames) {
                put(addItem(frame, DCM_PixelValueTransformationSequence), rescale);
            }
        }
    };
    return file;
}

} // namespace

TEST_F(WindowTest, PresetsAreWindowsInHu) {
    const std::string file = write(ct());
    const std::vector<std::tuple<std::string, double, double>> presets{
        {"lung", 1500, -600}, {"bone", 1500, 300}, {"brain", 80, 40}, {"abdomen", 400, 60}, {"mediastinum", 400, 40}};
    for (const auto& [name, width, center] : presets) {
        SCOPED_TRACE(name);
        EXPECT_EQ(image(file, name).status, 0);
        expectWindow(values(), width, center);
    }
    const Json json = Json::parse(image(file, "lung", {"--json"}).output);
    EXPECT_EQ(json["window"], Json({{"method", "lung"}, {"width", 1500.0}, {"center", -600.0}}));
}

TEST_F(WindowTest, PresetsAreRefusedForWhatIsNotHu) {
    ImageFile other = ct({{DCM_RescaleType, "US"}});
    other.more = with({{DCM_Modality, "MR"}});
    EXPECT_THAT(image(write(other), "lung"), exitsSaying(1, HasSubstr("is for values in HU, and those of this file "
                                                                      "have no unit. Give WIDTH,CENTER")));
    EXPECT_THAT(image(write(ct({{DCM_RescaleType, "OD"}})), "bone"), exitsSaying(1, HasSubstr("are in OD.")));
    EXPECT_EQ(image(write(ct({{DCM_RescaleType, "HU"}})), "bone").status, 0);
    EXPECT_EQ(image(write(other), "400,40").status, 0);
}

TEST_F(WindowTest, TheFilesOwnWindowsAreChosenByTheirNumber) {
    const std::string file = write(ct({{DCM_WindowCenter, "40\\-600"}, {DCM_WindowWidth, "400\\1500"}}));
    EXPECT_EQ(image(file, "file").status, 0);
    expectWindow(values(), 400, 40);
    EXPECT_EQ(image(file, "file:2").status, 0);
    expectWindow(values(), 1500, -600);
    EXPECT_THAT(image(file, "file:3"),
                exitsSaying(1, HasSubstr("it has 2 windows of its own, and none with number 3")));
    EXPECT_THAT(image(file, "file:0"), exitsSaying(2, HasSubstr("is not a window")));
    EXPECT_THAT(image(write(ct()), "file"), exitsSaying(1, HasSubstr("it has no window of its own.")));
}

TEST_F(WindowTest, TheOwnWindowIsDrawnByItsFunction) {
    const auto own = [](const std::string& function) {
        return ct({{DCM_WindowCenter, "0"}, {DCM_WindowWidth, "1500"}, {DCM_VOILUTFunction, function}});
    };
    EXPECT_EQ(image(write(own("LINEAR_EXACT")), "file").status, 0);
    const std::vector<double> exact = drawn();
    EXPECT_EQ(image(write(own("SIGMOID")), "file").status, 0);
    const std::vector<double> sigmoid = drawn();
    for (std::size_t index = 0; index < values().size(); ++index) { // PS3.3 C.11.2.1.3.2 and C.11.2.1.3.1
        const double value = values()[index];
        EXPECT_NEAR(exact[index], 255 * std::clamp(value / 1500 + 0.5, 0.0, 1.0), 1.0) << value;
        EXPECT_NEAR(sigmoid[index], 255 / (1 + std::exp(-4 * value / 1500)), 1.0) << value;
    }
    EXPECT_THAT(image(write(own("OTHER")), "file"), exitsSaying(1, HasSubstr("its window is of the kind OTHER")));
}

TEST_F(WindowTest, WindowsWithoutAUsableWidthAreRefused) {
    const auto own = [](const std::string& width) { return ct({{DCM_WindowCenter, "0"}, {DCM_WindowWidth, width}}); };
    EXPECT_THAT(image(write(own("0.5")), "file"), exitsSaying(1, HasSubstr("a width below 1")));
    EXPECT_THAT(image(write(own("-400")), "file"), exitsSaying(1, HasSubstr("a width below 1")));
    EXPECT_THAT(image(write(own("wide")), "file"), exitsSaying(1, HasSubstr("no window of its own")));
    EXPECT_EQ(image(write(own("1")), "file").status, 0);
}

TEST_F(WindowTest, FunctionalGroupsGiveWindowAndRescale) {
    // HU -100, 100, 300: the renderer applies the rescale of all frames, but not that of each.
    for (const bool isOfFrames : {false, true}) {
        const std::string file = write(enhanced("2", {"100", "100"}, isOfFrames));
        EXPECT_EQ(image(file, "file", {"--frame", "2"}).status, 0);
        expectWindow({-100, 100, 300}, 400, 100);
        EXPECT_EQ(image(file, "abdomen", {"--frame", "1"}).status, 0);
        expectWindow({-100, 100, 300}, 400, 60);
        const ProcessResult numbers = image(file, "300,50", {"--frame", "1", "--json"});
        expectWindow({-100, 100, 300}, 300, 50);
        EXPECT_EQ(Json::parse(numbers.output)["window"],
                  Json({{"method", "explicit"}, {"width", 300.0}, {"center", 50.0}}));
    }
    EXPECT_THAT(image(write(enhanced("-2", {"100"}, true)), "300,50"), exitsSaying(1, HasSubstr("negative slope")));
    EXPECT_THAT(image(write(enhanced("-2", {"100"}, true)), "file"), exitsSaying(1, HasSubstr("negative slope")));
    EXPECT_EQ(image(write(enhanced("-2", {"100"}, false)), "file").status, 0);
    expectWindow({-100, -300, -500}, 400, 100);
}

TEST_F(WindowTest, NumbersForADoseAreInItsUnit) {
    ImageFile dose{.rows = 1, .columns = 3, .bitsStored = 16, .words = {0, 25000, 50000}};
    dose.more = [](DcmDataset& dataset) {
        put(dataset, {{DCM_Modality, "RTDOSE"},
                      {DCM_SOPClassUID, UID_RTDoseStorage},
                      {DCM_DoseUnits, "GY"},
                      {DCM_DoseGridScaling, "0.001"}});
    };
    const std::string file = write(dose);
    const ProcessResult done = image(file, "60,30", {"--json"});
    EXPECT_THAT(done, exitsSaying(0, ""));
    expectWindow({0, 25, 50}, 60, 30);
    EXPECT_EQ(Json::parse(done.output)["window"], Json({{"method", "explicit"}, {"width", 60.0}, {"center", 30.0}}));
}

TEST_F(WindowTest, FramesWithDifferentWindowsAreAskedForOneByOne) {
    const std::string file = write(enhanced("2", {"100", "200"}, false));
    EXPECT_THAT(image(file, "file"), exitsSaying(1, HasSubstr("its frames have different windows.")));
    EXPECT_EQ(image(file, "file", {"--frame", "2"}).status, 0);
    expectWindow({-100, 100, 300}, 400, 200);
}

TEST_F(WindowTest, ExchangedNumbersAreNoticedAndDrawnAllTheSame) {
    ImageFile file = ct();
    file.words.assign(9, 1024 + 50); // soft tissue
    file.words.front() = 0;
    const std::string soft = write(file);
    const ProcessResult exchanged = image(soft, "40,400");
    EXPECT_THAT(exchanged, exitsSaying(0, HasSubstr("has the width 40 and the centre 400, and shows 0 % of the values "
                                                    "of " +
                                                    soft + " as grey; 400,40 would show 89 %.")));
    EXPECT_EQ(drawn().back(), 0) << "as it was asked for";
    EXPECT_EQ(image(soft, "400,40").errors, "");
    file.words[1] = 1024 + 400; // a part that the narrow window shows
    EXPECT_EQ(image(write(file), "40,400").errors, "");
    EXPECT_THAT(image(soft, "-600,1500"), exitsSaying(2, HasSubstr("The width comes first: 1500,-600?")));
}

TEST_F(WindowTest, AWindowOnColourIsSaidToHaveNoEffect) {
    const std::string file = write({.rows = 1,
                                    .columns = 2,
                                    .samples = 3,
                                    .bitsAllocated = 8,
                                    .bitsStored = 8,
                                    .photometric = "RGB",
                                    .planarConfiguration = 0,
                                    .words = {0x0201, 0x0403, 0x0605}});
    for (const char* const window : {"400,40", "lung", "file"}) {
        EXPECT_THAT(image(file, window),
                    exitsSaying(0, "radvex: warning: " + file + " is in colour, on which a window has no effect.\n"));
    }
    EXPECT_EQ(runRadvex({"image", file, "-o", mFolder.file("plain.png")}).errors, "");
}

TEST_F(WindowTest, SeriesAndVolumesHaveTheWindowOfEachFile) {
    TemporaryFolder medium;
    for (int number = 1; number <= 2; ++number) {
        const std::string width = number == 1 ? "400" : "2000";
        writeImageFile(medium.file(std::to_string(number) + ".dcm"),
                       ct({{DCM_SOPInstanceUID, "1.2.3." + std::to_string(number)},
                           {DCM_StudyInstanceUID, "1.2"},
                           {DCM_SeriesInstanceUID, "1.2.3"},
                           {DCM_SeriesNumber, "1"},
                           {DCM_InstanceNumber, std::to_string(number)},
                           {DCM_ImagePositionPatient, "0\\0\\" + std::to_string(number)},
                           {DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"},
                           {DCM_PixelSpacing, "1\\1"},
                           {DCM_WindowCenter, "0"},
                           {DCM_WindowWidth, width}}));
    }
    const std::string out = mFolder.file("pictures");
    EXPECT_EQ(runRadvex({"series", medium.path().string(), "-o", out, "--window", "file"}).status, 0);
    const auto greyOf250 = [&](const std::string& name) { return greysOf(out + "/0001-CT-1/" + name)[5]; };
    EXPECT_EQ(greyOf250("0001.png"), 255);
    EXPECT_NEAR(greyOf250("0002.png"), greyOf(250, 2000, 0), 1.0);
    const std::string volume = mFolder.file("out.nrrd");
    EXPECT_EQ(runRadvex({"volume", medium.path().string(), "-o", volume, "--rendered", "--window", "file"}).status, 0);
    const std::string bytes = readFile(volume);
    const auto sample = [&](std::size_t index) {
        const std::size_t at = bytes.size() - 18 * 2 + index * 2; // 2 slices of 9 samples of 16 bits
        return static_cast<unsigned char>(bytes[at + 1]);
    };
    EXPECT_EQ(sample(5), 255);
    EXPECT_NEAR(sample(9 + 5), greyOf(250, 2000, 0), 1.5);
    EXPECT_THAT(runRadvex({"series", medium.path().string(), "-o", out, "--window", "file", "--common-window"}),
                exitsSaying(2, HasSubstr("exclude each other")));
    EXPECT_THAT(runRadvex({"series", medium.path().string(), "-o", mFolder.file("none"), "--window", "file:2"}),
                exitsSaying(1, HasSubstr(medium.file("1.dcm") + ": it has 1 window of its own")));
    EXPECT_THAT(runRadvex({"volume", medium.path().string(), "-o", mFolder.file("none.nrrd"), "--rendered", "--window",
                           "file:2"}),
                exitsSaying(1, HasSubstr(medium.file("1.dcm") + ": it has 1 window of its own")));
}

TEST_F(WindowTest, RenderedDataHasItToo) {
    const std::string out = mFolder.file("out.npy");
    const ProcessResult done =
        runRadvex({"data", write(ct()), "--rendered", "--window", "mediastinum", "--json", "-o", out});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)["window"],
              Json({{"method", "mediastinum"}, {"width", 400.0}, {"center", 40.0}}));
    const ProcessResult numpy = runProcess(
        {"/usr/bin/python3", "-c", "import numpy,sys; a=numpy.load(sys.argv[1]); print(a[0,3], a[0,5], a[0,4])", out});
    double black = -1;
    double white = -1;
    double middle = -1;
    ASSERT_EQ(std::sscanf(numpy.output.c_str(), "%lf %lf %lf", &black, &white, &middle), 3) << numpy.errors;
    EXPECT_EQ(black, 0);
    EXPECT_EQ(white, 65535);
    EXPECT_NEAR(middle / 257, greyOf(0, 400, 40), 1.0);
}
