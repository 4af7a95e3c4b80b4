#include <cstring>

#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::test;
using namespace velmora;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

class DirectoryImages : public DirectoryTest {
  protected:
    /// The pictures of the only series, by the path at the end of "name:image".
    std::string files(double first = kWithoutWindow) {
        std::string line = outline(pictures(first).view());
        const std::string place = folder.path().string() + "/";
        for (auto found = line.find(place); found != std::string::npos; found = line.find(place)) {
            line.erase(found, place.size());
        }
        return line;
    }
    static Fill overlay() {
        return [](DcmDataset& dataset) {
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0010, EVR_US), 1);
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0011, EVR_US), 3);
            dataset.putAndInsertString(DcmTag(0x6000, 0x0040, EVR_CS), "G");
            const Sint16 origin[] = {1, 1};
            dataset.putAndInsertSint16Array(DcmTag(0x6000, 0x0050, EVR_SS), origin, 2);
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0100, EVR_US), 1);
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0102, EVR_US), 0);
            const Uint16 words[] = {0b010};
            dataset.putAndInsertUint16Array(DcmTag(0x6000, 0x3000, EVR_OW), words, 1);
        };
    }
    ImageFile some(int first) { return grey16(1, 3, {first, first + 1, first + 2}); }
};

} // namespace

TEST_F(DirectoryImages, AreNamedByTheirPathsInTheOrderOfInstanceNumber) {
    writeFileIds({"A", "D\\B", "C"});
    writeImage("A", 3, some(30));
    writeImage("D\\B", 1, some(10));
    writeImage("C", 2, some(20));
    const Store result = pictures(kWithoutWindow);
    EXPECT_EQ(files(), "P{1{1.1{D/B:image,C:image,A:image}}}");
    EXPECT_THAT(keysOf(storeAt(storeAt(storeAt(result.view(), 0), 0), 0)),
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
    writeFileIds({"A", "B", "C"});
    writeImage("A", 1, some(0));
    writeImage("B", 0, some(0));
    writeImage("C", -1, some(0));
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
    const auto line = [&](const Patterns& patterns) {
        std::string text = outline(pictures(kWithoutWindow, 0, patterns).view());
        const std::string name = folder.file("A") + ":image";
        for (auto found = text.find(name); found != std::string::npos; found = text.find(name)) {
            text.replace(found, name.size(), "A");
        }
        return text;
    };
    EXPECT_EQ(line({}), "P{1{1.1{A},1.2{A}},2{2.1{A}}},Q{3{1.1{A}}}");
    EXPECT_EQ(line({.series = "1.1"}), "P{1{1.1{A},1.2{}},2{2.1{}}},Q{3{1.1{A}}}");
    EXPECT_EQ(line({.study = "1", .series = "1.1"}), "P{1{1.1{A},1.2{}}},Q{}");
    EXPECT_EQ(line({.patient = "Q", .series = "X"}), "Q{3{1.1{}}}");
    EXPECT_EQ(line({.patient = "X"}), "");
}

TEST_F(DirectoryImages, StudiesAndSeriesWithoutAKeyAreLeftOutAndPatientsAreNot) {
    const auto without = [](const DcmTagKey& first, const DcmTagKey& second) {
        return [first, second](DcmItem& item) {
            item.findAndDeleteElement(first);
            item.findAndDeleteElement(second);
        };
    };
    const auto noSeries = without(DCM_SeriesInstanceUID, DCM_SeriesNumber);
    writeDirectory({patientRecord(
        "", "",
        {studyRecord("", {seriesOf("1.1", {"NO IMAGE"})}, without(DCM_StudyInstanceUID, DCM_StudyID)),
         studyRecord("2", {seriesRecord("", "CT", {imageRecord("A", 0)}, noSeries), seriesOf("2.1", {"A"})})},
        without(DCM_PatientID, DCM_PatientName))});
    writeImage("A", 1, some(0));
    writeDicom(mediumPath(folder, "NO IMAGE"), {});
    EXPECT_EQ(files(), "{2{2.1{A:image}}}");
    EXPECT_EQ(files(kCommon), "{2{2.1{A:image}}}") << "what lies below a study without a key is not read";
    EXPECT_EQ(outline(pictures(kWithoutWindow, 0, {.series = "X"}).view()), "{2{2.1{}}}");
}

TEST_F(DirectoryImages, ASeriesWithoutAKeyIsReadAllTheSame) {
    writeSeries({seriesRecord("", "CT", {imageRecord("NO IMAGE", 0)}, [](DcmItem& item) {
        item.findAndDeleteElement(DCM_SeriesInstanceUID);
        item.findAndDeleteElement(DCM_SeriesNumber);
    })});
    writeDicom(mediumPath(folder, "NO IMAGE"), {});
    EXPECT_EQ(files(), "P{1{}}");
    EXPECT_EQ(codeOf("Read2DImagesDir", pictureArguments(kCommon)), -68);
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(kWithoutWindow)), -68);
}

TEST_F(DirectoryImages, OfOtherSizesStandEachForItself) {
    writeFileIds({"A", "B"});
    writeImage("A", 1, grey16(2, 3, placesOfFile(1, 2, 3)));
    writeImage("B", 2, grey16(3, 2, placesOfFile(2, 3, 2)));
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
    writeFileIds({"A", "B"});
    writeImage("A", 1, first);
    writeImage("B", 2, second);
    const Store result = pictures(kCommon);
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 0})),
                ElementsAreArray(windowed({-80, -60}, -50, 60, 65535)));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 1})),
                ElementsAreArray(windowed({-60, -20}, -50, 60, 65535)));
}

TEST_F(DirectoryImages, ACommonWindowOfConstantImagesIsNone) {
    writeFileIds({"A", "B"});
    writeImage("A", 1, grey8(1, 3, {70, 70, 70}));
    writeImage("B", 2, grey8(1, 3, {70, 70, 70}));
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
                testing::HasSubstr("file " + folder.file("REPORT") + "."));
}

TEST_F(DirectoryImages, WhatDcmtkCannotRenderIsCopiedAsItLies) {
    ImageFile file = some(70);
    file.bitsStored = 40; // more than is allocated
    writeFileIds({"A"});
    writeImage("A", 1, file);
    const Store result = pictures(0.0);
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(result.view(), {0, 0, 0, 0})), ElementsAre(70, 71, 72));
}

TEST_F(DirectoryImages, OverlaysAreBurntInOnRequest) {
    ImageFile file = grey8(1, 3, {10, 20, 30});
    file.more = overlay();
    writeFileIds({"A"});
    writeImage("A", 1, file);
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
            EXPECT_EQ(elementsOf<std::uint8_t>(image).size(),
                      elementsOf<std::uint8_t>(single.get<Image>().info()).size());
            const auto bytes = single.get<Image>().bytes();
            EXPECT_EQ(std::memcmp(image.data.get(), bytes.data(), bytes.size()), 0) << ids[index] << ' ' << first;
        }
    }
}

TEST_F(DirectoryImages, FlagsThatWouldHarmAReaderAreHarmless) {
    writeFileIds({"A", "B"});
    writeImage("A", 1, some(10));
    writeImage("B", 2, some(20));
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
    writeFileIds({"A"});
    writeImage("A", 1, some(1));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(pictures(kWithoutWindow).view(), {0, 0, 0, 0})),
                ElementsAre(1, 2, 3));
    writeImage("A", 1, some(7));
    EXPECT_THAT(elementsOf<std::uint16_t>(imageAt(pictures(kWithoutWindow).view(), {0, 0, 0, 0})),
                ElementsAre(7, 8, 9));
}
