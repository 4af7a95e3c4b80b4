#include <cstring>

#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class DirectoryImages : public DirectoryTest {
  protected:
    /// The pictures, by their paths below the folder.
    std::string files(double first = kWithoutWindow, const Patterns& patterns = {}) {
        return lineOf(pictures(first, 0, patterns).view());
    }

    ImageFile some(int first) { return grey16(1, 3, {first, first + 1, first + 2}); }
};

} // namespace

TEST_F(DirectoryImages, AreNamedByTheirPathsInTheOrderOfInstanceNumber) {
    writeFiles({{"A", 3, some(30)}, {"D\\B", 1, some(10)}, {"C", 2, some(20)}});
    const Store result = pictures(kWithoutWindow);
    EXPECT_EQ(files(), "P{1{1.1{D/B:image,C:image,A:image}}}");
    EXPECT_THAT(keysOf(storeAt(result.view(), {0, 0, 0})),
                ElementsAre(folder.file("D/B"), folder.file("C"), folder.file("A")));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 0})), ElementsAre(10, 11, 12));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 2})), ElementsAre(30, 31, 32));
}

TEST_F(DirectoryImages, TheOrderIsThatOfTheFilesAndNotOfTheRecords) {
    writeSeries({seriesRecord("1.1", "CT", {imageRecord("A", 1), imageRecord("B", 2)})});
    writeImage("A", 20, some(0));
    writeImage("B", 3, some(0));
    EXPECT_EQ(files(), "P{1{1.1{B:image,A:image}}}");
}

TEST_F(DirectoryImages, FilesWithoutANumberStandWhereZeroDoes) {
    writeFiles({{"A", 1, some(0)}, {"B", 0, some(0)}, {"C", -1, some(0)}});
    EXPECT_EQ(files(), "P{1{1.1{C:image,B:image,A:image}}}");
}

TEST_F(DirectoryImages, WhatCannotBeReadLeavesNoNode) {
    writeFileIds({"A", "MISSING", "TEXT", "REPORT", "B", ""});
    writeImage("A", 1, some(0));
    writeImage("B", 2, some(0));
    folder.write("TEXT", "no DICOM at all");
    writeDicom(mediumPath(folder, "REPORT"), {});
    EXPECT_EQ(files(), "P{1{1.1{A:image,B:image}}}");
}

TEST_F(DirectoryImages, ASeriesWithoutReadableFilesIsAnEmptyStore) {
    writeSeries({seriesOf("1.1", {"MISSING"}), seriesOf("1.2", {}), seriesOf("1.3", {"A"})});
    writeImage("A", 1, some(0));
    EXPECT_EQ(files(), "P{1{1.1{},1.2{},1.3{A:image}}}");
    EXPECT_EQ(files(kCommon), "P{1{1.1{},1.2{},1.3{A:image}}}");
}

TEST_F(DirectoryImages, ASeriesThatIsLeftOutStandsThereEmpty) {
    writeDirectory({patientRecord("P", "",
                                  {studyRecord("1", {seriesOf("1.1", {"A"}), seriesOf("1.2", {"A"})}),
                                   studyRecord("2", {seriesOf("2.1", {"A"})})}),
                    patientRecord("Q", "", {studyRecord("3", {seriesOf("1.1", {"A"})})})});
    writeImage("A", 1, some(0));
    EXPECT_EQ(files(), "P{1{1.1{A:image},1.2{A:image}},2{2.1{A:image}}},Q{3{1.1{A:image}}}");
    EXPECT_EQ(files(kWithoutWindow, {.series = "1.1"}), "P{1{1.1{A:image},1.2{}},2{2.1{}}},Q{3{1.1{A:image}}}");
    EXPECT_EQ(files(kWithoutWindow, {.study = "1", .series = "1.1"}), "P{1{1.1{A:image},1.2{}}},Q{}");
    EXPECT_EQ(files(kWithoutWindow, {.patient = "Q", .series = "X"}), "Q{3{1.1{}}}");
    EXPECT_EQ(files(kWithoutWindow, {.patient = "X"}), "");
}

TEST_F(DirectoryImages, StudiesAndSeriesWithoutAKeyAreLeftOutAndPatientsAreNot) {
    const auto noSeries = without({DCM_SeriesInstanceUID, DCM_SeriesNumber});
    writeDirectory({patientRecord(
        "", "",
        {studyRecord("", {seriesOf("1.1", {"NO IMAGE"})}, without({DCM_StudyInstanceUID, DCM_StudyID})),
         studyRecord("2", {seriesRecord("", "CT", {imageRecord("A", 0)}, noSeries), seriesOf("2.1", {"A"})})},
        without({DCM_PatientID, DCM_PatientName}))});
    writeImage("A", 1, some(0));
    writeDicom(mediumPath(folder, "NO IMAGE"), {});
    EXPECT_EQ(files(), "{2{2.1{A:image}}}");
    EXPECT_EQ(files(kCommon), "{2{2.1{A:image}}}") << "what lies below a study without a key is not read";
    EXPECT_EQ(files(kWithoutWindow, {.series = "X"}), "{2{2.1{}}}");
}

TEST_F(DirectoryImages, ASeriesWithoutAKeyIsReadAllTheSame) {
    writeSeries(
        {seriesRecord("", "CT", {imageRecord("NO IMAGE", 0)}, without({DCM_SeriesInstanceUID, DCM_SeriesNumber}))});
    writeDicom(mediumPath(folder, "NO IMAGE"), {});
    EXPECT_EQ(files(), "P{1{}}");
    EXPECT_EQ(codeOf("Read2DImagesDir", pictureArguments(kCommon)), -68);
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(kWithoutWindow)), -68);
}

TEST_F(DirectoryImages, OfOtherSizesStandEachForItself) {
    writeFiles({{"A", 1, grey16(2, 3, spelledPixels(1, 2, 3))}, {"B", 2, grey16(3, 2, spelledPixels(2, 3, 2))}});
    const Store result = pictures(kWithoutWindow);
    EXPECT_EQ(imageAt(result.view(), {0, 0, 0, 0}).rows, 2);
    EXPECT_EQ(imageAt(result.view(), {0, 0, 0, 0}).columns, 3);
    EXPECT_EQ(imageAt(result.view(), {0, 0, 0, 1}).rows, 3);
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 1})),
                ElementsAre(200, 201, 210, 211, 220, 221));
}

TEST_F(DirectoryImages, AFileOfSeveralFramesGivesThemAll) {
    writeFileIds({"A"});
    ImageFile file = grey16(1, 2, {1, 2, 3, 4, 5, 6});
    file.frames = "3";
    writeImage("A", 1, file);
    const Store result = pictures(kWithoutWindow);
    const VelmoraImage& image = imageAt(result.view(), {0, 0, 0, 0});
    EXPECT_EQ(image.slices, 3);
    EXPECT_EQ(image.rank, 3);
    EXPECT_THAT(elementsOf<std::uint16_t>(image), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(DirectoryImages, TheCommonWindowSpansAllFilesOfASeries) {
    // Ranges 0 to 100 and 50 to 200: width 200, centre 100.
    const std::vector<int> dark{0, 10, 100};
    const std::vector<int> bright{50, 150, 200};
    writeSeries({seriesOf("1.1", {"A", "B"}), seriesOf("1.2", {"C"})});
    writeImage("A", 1, grey8(1, 3, dark));
    writeImage("B", 2, grey8(1, 3, bright));
    writeImage("C", 1, grey8(1, 3, {7, 8, 20})); // width 13, centre 13.5
    const Store result = pictures(kCommon);
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0, 0})),
                ElementsAreArray(windowed(dark, 100, 200, 255)));
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0, 1})),
                ElementsAreArray(windowed(bright, 100, 200, 255)));
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 1, 0})),
                ElementsAreArray(windowed({7, 8, 20}, 13.5, 13, 255)));
    EXPECT_EQ(windowed(bright, 100, 200, 255), (std::vector<int>{64, 192, 255})) << "the arithmetic itself";
}

TEST_F(DirectoryImages, TheCommonWindowIsOneOfRescaledValues) {
    // 10 and 20 rescaled by 2 and -100 are -80 and -60, 40 is -20: width 60, centre -50.
    ImageFile first = grey16(1, 2, {10, 20});
    ImageFile second = grey16(1, 2, {20, 40});
    for (ImageFile* file : {&first, &second}) {
        file->bitsStored = 12;
        file->slope = "2";
        file->intercept = "-100";
    }
    writeFiles({{"A", 1, first}, {"B", 2, second}});
    const Store result = pictures(kCommon);
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 0})),
                ElementsAreArray(windowed({-80, -60}, -50, 60, 65535)));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 1})),
                ElementsAreArray(windowed({-60, -20}, -50, 60, 65535)));
}

TEST_F(DirectoryImages, ACommonWindowOfConstantImagesIsNone) {
    writeFiles({{"A", 1, grey8(1, 3, {70, 70, 70})}, {"B", 2, grey8(1, 3, {70, 70, 70})}});
    const Store result = pictures(kCommon);
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0, 0})), ElementsAre(70, 70, 70));
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0, 1})), ElementsAre(70, 70, 70));
}

TEST_F(DirectoryImages, ColourCountsAsZeroInTheCommonWindowAndKeepsItsValues) {
    writeFileIds({"A", "B"});
    writeImage("A", 1, colour8(1, 1, {200, 201, 202}));
    writeImage("B", 2, grey8(1, 3, {50, 60, 100})); // with 0: width 100, centre 50
    const Store result = pictures(kCommon);
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0, 0})), ElementsAre(200, 201, 202));
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0, 1})),
                ElementsAreArray(windowed({50, 60, 100}, 50, 100, 255)));
}

TEST_F(DirectoryImages, ACommonWindowNeedsEveryFileToBeAnImage) {
    writeFileIds({"A", "REPORT"});
    writeImage("A", 1, some(0));
    writeDicom(mediumPath(folder, "REPORT"), {});
    EXPECT_EQ(files(), "P{1{1.1{A:image}}}");
    EXPECT_EQ(codeOf("Read2DImagesDir", pictureArguments(kCommon)), -68);
    EXPECT_THAT(messageOf("Read2DImagesDir", pictureArguments(kCommon)),
                HasSubstr("file " + folder.file("REPORT") + "."));
}

TEST_F(DirectoryImages, WhatDcmtkCannotRenderIsCopiedAsItLies) {
    ImageFile file = some(70);
    file.bitsStored = 40; // more than is allocated
    writeFiles({{"A", 1, file}});
    const Store result = pictures(0.0);
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 0})), ElementsAre(70, 71, 72));
}

TEST_F(DirectoryImages, OverlaysAreBurntInOnRequest) {
    ImageFile file = grey8(1, 3, {10, 20, 30});
    file.more = [](DcmDataset& dataset) { putOverlay(dataset, 0x6000, {.columns = 3, .bits = 0b010}); };
    writeFiles({{"A", 1, file}});
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(pictures(kWithoutWindow).view(), {0, 0, 0, 0})),
                ElementsAre(10, 20, 30));
    auto arguments = pictureArguments(kWithoutWindow);
    arguments[2] = true;
    const Value shown = call("Read2DImagesDir", arguments);
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(shown.get<Store>().view(), {0, 0, 0, 0})), ElementsAre(10, 255, 30));
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(volumes(kWithoutWindow).view(), {0, 0, 0})), ElementsAre(10, 20, 30))
        << "never in a volume";
}

TEST_F(DirectoryImages, EqualThoseOfTheSingleFilesWithEveryScalingOfTheirOwn) {
    const std::vector<std::string> ids{"A", "B", "C"};
    writeFileIds(ids);
    ImageFile signedFile = grey16(2, 3, {-100, -50, 0, 50, 100, 2000});
    signedFile.bitsStored = 16;
    signedFile.pixelRepresentation = 1;
    signedFile.intercept = "-1024";
    signedFile.slope = "1";
    writeImage("A", 1, signedFile);
    writeImage("B", 2, grey8(2, 3, {1, 2, 3, 4, 5, 200}));
    writeImage("C", 3, colour8(1, 2, {1, 2, 3, 4, 5, 6}));
    for (const double first : {0.0, -1.0, -3.0, 5.0, 300.0}) {
        const Store result = pictures(first, 40.0);
        for (std::size_t index = 0; index < ids.size(); ++index) {
            const Value single = call("ReadImage", {folder.file(ids[index]), 0, 0, scaling(first, 40.0), false, 1});
            const VelmoraImage& image = imageAt(result.view(), {0, 0, 0, index});
            ASSERT_EQ(image.type, single.get<Image>().info().type);
            EXPECT_EQ(image.length, single.get<Image>().info().length);
            const auto bytes = single.get<Image>().bytes();
            EXPECT_EQ(std::memcmp(image.data.get(), bytes.data(), bytes.size()), 0) << ids[index] << ' ' << first;
        }
    }
}

TEST_F(DirectoryImages, FlagsThatWouldHarmAReaderAreHarmless) {
    writeFiles({{"A", 1, some(10)}, {"B", 2, some(20)}});
    const auto before = elementsOf<std::uint16_t>(imageAt(volumes(kCommon).view(), {0, 0, 0}));
    for (const vint flags : {0x20, 0x4, 0x24, 0x400, 0x424}) {
        auto arguments = pictureArguments(kCommon);
        arguments[3] = flags;
        const Value all = call("Read2DImagesDir", arguments);
        arguments = volumeArguments(kCommon);
        arguments[5] = flags;
        const Value volume = call("Read3DImage", arguments);
        EXPECT_EQ(elementsOf<std::uint16_t>(imageAt(volume.get<Store>().view(), {0, 0, 0})), before) << flags;
        auto joined = elementsOf<std::uint16_t>(imageAt(all.get<Store>().view(), {0, 0, 0, 0}));
        const auto second = elementsOf<std::uint16_t>(imageAt(all.get<Store>().view(), {0, 0, 0, 1}));
        joined.insert(joined.end(), second.begin(), second.end());
        EXPECT_EQ(joined, before) << flags;
    }
}

TEST_F(DirectoryImages, ArgumentsAreReadAndRefusedInTheirOrder) {
    writeFileIds({"A"});
    const Value bad = Tensor(std::vector<vint>{3}, std::vector<double>{0, 0, 0});
    const auto code = [&](const std::string& file, const Value& tensor, const std::string& pattern) {
        return codeOf("Read2DImagesDir", {file, tensor, false, 1, pattern, ".*", ".*"});
    };
    EXPECT_EQ(code("/missing/DICOMDIR", bad, "("), -73) << "bad scaling before a bad path";
    EXPECT_EQ(code("/missing/DICOMDIR", scaling(0), "("), -62) << "a bad path before a bad pattern";
    EXPECT_EQ(code(path, scaling(0), "("), 6);
    EXPECT_EQ(code(path, scaling(0), ".*"), 0);
    EXPECT_EQ(code(path, Tensor(std::vector<vint>{2}, std::vector<vint>{0, 0}), ".*"), -17);
    EXPECT_EQ(code(path, Null{}, ".*"), -25);
    EXPECT_EQ(codeOf("Read2DImagesDir", {path, bad}), -73) << "scaling before the flags that are missing";
    EXPECT_EQ(codeOf("Read2DImagesDir", {path, scaling(0), false}), -2);
    EXPECT_EQ(codeOf("Read2DImagesDir", {path, scaling(0), false, 1, ".*", ".*"}), 6) << "a missing text";
}

TEST_F(DirectoryImages, FilesAreReadAnewAndNotCached) {
    writeFiles({{"A", 1, some(1)}});
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(pictures(kWithoutWindow).view(), {0, 0, 0, 0})),
                ElementsAre(1, 2, 3));
    writeImage("A", 1, some(7));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(pictures(kWithoutWindow).view(), {0, 0, 0, 0})),
                ElementsAre(7, 8, 9));
}
