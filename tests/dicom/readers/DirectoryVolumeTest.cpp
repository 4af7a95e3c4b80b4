#include <cstring>

#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class DirectoryVolume : public DirectoryTest {
  protected:
    /// Writes a series of these files with instance numbers 1, 2 and on, and reads its volume.
    Store read(const std::vector<ImageFile>& files, double first = kWithoutWindow, double second = 0.0) {
        writeInOrder(files);
        return volumes(first, second);
    }
    int codeOfSeries(const std::vector<ImageFile>& files, double first = kWithoutWindow) {
        writeInOrder(files);
        return codeOf("Read3DImage", volumeArguments(first));
    }
    void writeInOrder(const std::vector<ImageFile>& files) {
        std::vector<NumberedFile> numbered;
        for (std::size_t index = 0; index < files.size(); ++index) {
            numbered.push_back({"I" + std::to_string(index), static_cast<int>(index) + 1, files[index]});
        }
        writeFiles(numbered);
    }
    /// From here on the memory of the host's volumes is not zero at first.
    void makeHostUntidy() {
        static VelmoraImageFunctions functions;
        functions = kImageFunctions;
        functions.VImage_new3D = [](vint slices, vint width, vint height, vint channels, vint type, vint colorSpace,
                                    vbool interleaved, VImage* image) {
            const int code =
                kImageFunctions.VImage_new3D(slices, width, height, channels, type, colorSpace, interleaved, image);
            if (code == VELMORA_NO_ERROR) {
                std::memset((*image)->data.get(), 0xEE,
                            static_cast<std::size_t>((*image)->length) * imageElementSize(type));
            }
            return code;
        };
        host().services().table()->imageFunctions = &functions;
    }
    static const VelmoraImage& volume(const Store& result) { return imageAt(result.view(), {0, 0, 0}); }
    /// All bytes of the volume as the host holds them.
    static std::vector<int> bytesOf(const Store& result) {
        const VelmoraImage& image = volume(result);
        const auto* bytes = static_cast<const std::uint8_t*>(image.data.get());
        return {bytes, bytes + static_cast<std::size_t>(image.length) * imageElementSize(image.type)};
    }
};

/// The bytes of 16-bit values, low byte first.
std::vector<int> littleEndian(const std::vector<int>& values) {
    std::vector<int> bytes;
    for (const int value : values) {
        bytes.push_back(value & 0xFF);
        bytes.push_back(value >> 8);
    }
    return bytes;
}

/// Lays bytes over others from an offset on.
void lay(std::vector<int>& bytes, std::size_t offset, const std::vector<int>& over) {
    ASSERT_LE(offset + over.size(), bytes.size());
    std::copy(over.begin(), over.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// Scales values from one depth in bits to another, without a window.
std::vector<int> atDepth(const std::vector<int>& values, int bits, int ofVolume) {
    std::vector<int> deep;
    for (const int value : values) {
        deep.push_back(ofVolume > bits ? value << (ofVolume - bits) : value >> (bits - ofVolume));
    }
    return deep;
}

/// Signed 16-bit CT whose values after the rescale are these.
ImageFile ct(int rows, int columns, const std::vector<int>& hounsfield) {
    std::vector<int> stored;
    for (const int value : hounsfield) {
        stored.push_back(value + 1024);
    }
    ImageFile file = grey16(rows, columns, stored);
    file.pixelRepresentation = 1;
    file.slope = "1";
    file.intercept = "-1024";
    return file;
}

} // namespace

TEST_F(DirectoryVolume, SlicesAreInTheOrderOfInstanceNumber) {
    writeFiles({{"A", 3, grey16(4, 5, spelledPixels(3, 4, 5))},
                {"B", -1, grey16(4, 5, spelledPixels(1, 4, 5))},
                {"C", 2, grey16(4, 5, spelledPixels(2, 4, 5))}});
    const Store result = volumes(kWithoutWindow);
    EXPECT_EQ(outline(result.view()), "P{1{1.1:image}}");
    const VelmoraImage& image = volume(result);
    EXPECT_EQ(image.rank, 3);
    EXPECT_EQ(image.slices, 3);
    EXPECT_EQ(image.rows, 4);
    EXPECT_EQ(image.columns, 5);
    EXPECT_EQ(image.channels, 1);
    EXPECT_EQ(image.type, VImage_U16);
    EXPECT_EQ(image.colorSpace, VColorSpace_Grey);
    EXPECT_TRUE(image.interleaved);
    EXPECT_THAT(elementsOf<std::uint16_t>(image),
                ElementsAreArray(joined({spelledPixels(1, 4, 5), spelledPixels(2, 4, 5), spelledPixels(3, 4, 5)})));
}

TEST_F(DirectoryVolume, OfOneFileHasOneSlice) {
    const Store result = read({grey8(2, 3, {1, 2, 3, 4, 5, 6})});
    EXPECT_EQ(volume(result).rank, 3);
    EXPECT_EQ(volume(result).slices, 1);
    EXPECT_EQ(volume(result).type, VImage_U8);
    EXPECT_THAT(bytesOf(result), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(DirectoryVolume, OfColourIsInterleavedWhateverTheFilesAre) {
    ImageFile planar = colour8(1, 2, {1, 4, 2, 5, 3, 6});
    planar.planarConfiguration = 1;
    const Store result = read({colour8(1, 2, {11, 12, 13, 14, 15, 16}), planar});
    EXPECT_EQ(volume(result).channels, 3);
    EXPECT_EQ(volume(result).colorSpace, VColorSpace_RGB);
    EXPECT_TRUE(volume(result).interleaved);
    EXPECT_THAT(bytesOf(result), ElementsAre(11, 12, 13, 14, 15, 16, 1, 2, 3, 4, 5, 6));
}

TEST_F(DirectoryVolume, TheCommonWindowIsTheSameForEverySlice) {
    const std::vector<int> dark{0, 10, 100};
    const std::vector<int> bright{50, 150, 200};
    const Store result = read({grey8(1, 3, dark), grey8(1, 3, bright)}, kCommon);
    EXPECT_THAT(bytesOf(result),
                ElementsAreArray(joined({windowed(dark, 100, 200, 255), windowed(bright, 100, 200, 255)})));
}

TEST_F(DirectoryVolume, AnyOtherWindowIsThatOfEachSlice) {
    const std::vector<ImageFile> files{grey8(1, 3, {0, 10, 100}), grey8(1, 3, {50, 150, 200})};
    EXPECT_THAT(bytesOf(read(files, 0.0)), ElementsAreArray(joined({windowed({0, 10, 100}, 50.5, 101, 255),
                                                                    windowed({50, 150, 200}, 125.5, 151, 255)})))
        << "from minimum to maximum";
    EXPECT_THAT(bytesOf(read(files, 61.0, 80.5)), ElementsAreArray(joined({windowed({0, 10, 100}, 80.5, 61, 255),
                                                                           windowed({50, 150, 200}, 80.5, 61, 255)})));
}

TEST_F(DirectoryVolume, ACommonWindowOfConstantImagesIsNone) {
    EXPECT_THAT(bytesOf(read({grey8(1, 2, {70, 70}), grey8(1, 2, {70, 70})}, kCommon)), ElementsAre(70, 70, 70, 70));
}

TEST_F(DirectoryVolume, NoWindowGoesOverToTheNextSeries) {
    writeSeries({seriesOf("1.1", {"A"}), seriesOf("1.2", {"B"})});
    writeImage("A", 1, grey8(1, 3, {0, 10, 100}));
    writeImage("B", 1, grey8(1, 3, {150, 160, 200}));
    const Store result = volumes(kCommon);
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 0})),
                ElementsAreArray(windowed({0, 10, 100}, 50, 100, 255)));
    EXPECT_THAT(elementsOf<std::uint8_t>(imageAt(result.view(), {0, 0, 1})),
                ElementsAreArray(windowed({150, 160, 200}, 175, 50, 255)));
}

TEST_F(DirectoryVolume, SignedCtWithAnInterceptHasItsSlicesSideBySide) {
    // 17 bits for DCMTK, four bytes a pixel, in a volume of two.
    std::vector<ImageFile> files;
    std::vector<int> expected;
    for (int file = 0; file < 3; ++file) {
        const auto values = spelledPixels(file, 4, 5);
        files.push_back(ct(4, 5, values));
        const auto greys = windowed(values, 500, 1000, 65535);
        expected.insert(expected.end(), greys.begin(), greys.end());
    }
    const Store result = read(files, 1000, 500);
    EXPECT_EQ(volume(result).type, VImage_U16);
    EXPECT_EQ(volume(result).slices, 3);
    EXPECT_THAT(elementsOf<std::uint16_t>(volume(result)), ElementsAreArray(expected));
}

TEST_F(DirectoryVolume, EightBitsBeforeSixteenLieSideBySide) {
    // A slice of 16 bits is twice as long as its room in a volume of 8: the third one would lie outside.
    const Store result =
        read({grey8(1, 3, {1, 2, 3}), grey16(1, 3, {0x1000, 0x2000, 0x3000}), grey16(1, 3, {0x4000, 0x5000, 0x6000})});
    EXPECT_EQ(volume(result).type, VImage_U8);
    EXPECT_THAT(bytesOf(result), ElementsAre(1, 2, 3, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60));
}

TEST_F(DirectoryVolume, AnEightBitSliceMovesThoseBehindItForward) {
    // Slices of 16 bits take 6 bytes; the one of 8 bits writes 6 and counts for 3, so that the last one covers its
    // second half, from an odd offset on.
    std::vector<int> expected(18, 0);
    lay(expected, 0, littleEndian({1000, 2000, 3000}));
    lay(expected, 6, littleEndian(atDepth({1, 2, 3}, 8, 16)));
    lay(expected, 9, littleEndian({4000, 5000, 6000}));
    const Store result =
        read({grey16(1, 3, {1000, 2000, 3000}), grey8(1, 3, {1, 2, 3}), grey16(1, 3, {4000, 5000, 6000})});
    EXPECT_EQ(volume(result).type, VImage_U16);
    EXPECT_EQ(volume(result).slices, 3);
    EXPECT_THAT(bytesOf(result), ElementsAreArray(expected)) << "what no slice reaches is 0";
}

TEST_F(DirectoryVolume, SevenBitsCountOneByteInAVolumeOfTwo) {
    std::vector<int> expected(12, 0);
    const auto deep = [](const std::vector<int>& values) { return littleEndian(atDepth(values, 7, 16)); };
    lay(expected, 0, deep({1, 2}));
    lay(expected, 2, deep({3, 4}));
    lay(expected, 4, deep({5, 6}));
    const Store result = read({grey8(1, 2, {1, 2}, 7), grey8(1, 2, {3, 4}, 7), grey8(1, 2, {5, 6}, 7)});
    EXPECT_EQ(volume(result).type, VImage_U16) << "only 8 bits exactly make a volume of bytes";
    EXPECT_THAT(bytesOf(result), ElementsAreArray(expected));
}

TEST_F(DirectoryVolume, TwelveBitsFillSixteen) {
    ImageFile file = grey16(1, 2, {0, 4095});
    file.bitsStored = 12;
    EXPECT_THAT(elementsOf<std::uint16_t>(volume(read({file, file}))), ElementsAre(0, 4095 << 4, 0, 4095 << 4));
}

TEST_F(DirectoryVolume, ThirtyTwoBitsAreRenderedToSixteen) {
    const ImageFile deep{.rows = 1, .columns = 2, .bitsAllocated = 32, .bitsStored = 32, .words = {0, 0, 0, 0x8000}};
    const Store result = read({deep, deep}, 0.0);
    EXPECT_EQ(volume(result).type, VImage_U16);
    EXPECT_THAT(elementsOf<std::uint16_t>(volume(result)), ElementsAre(0, 65535, 0, 65535));
}

TEST_F(DirectoryVolume, ColourDoesNotFitIntoAGreyOne) {
    EXPECT_EQ(codeOfSeries({grey8(1, 2, {1, 2}), colour8(1, 2, {1, 2, 3, 4, 5, 6})}), -63);
    EXPECT_EQ(codeOfSeries({grey8(1, 2, {1, 2}), grey8(1, 2, {1, 2}), colour8(1, 2, {1, 2, 3, 4, 5, 6})}), -63);
    EXPECT_EQ(codeOfSeries({grey16(1, 2, {1, 2}), colour8(1, 2, {1, 2, 3, 4, 5, 6})}), -63);
    EXPECT_EQ(codeOfSeries({grey16(1, 2, {1, 2}), colour8(1, 2, {1, 2, 3, 4, 5, 6}), grey16(1, 2, {1, 2})}), -63);
}

TEST_F(DirectoryVolume, GreyInAColourOneCountsOneSample) {
    const Store result =
        read({colour8(1, 2, {1, 2, 3, 4, 5, 6}), grey8(1, 2, {7, 8}), colour8(1, 2, {11, 12, 13, 14, 15, 16})});
    EXPECT_EQ(volume(result).channels, 3);
    EXPECT_THAT(bytesOf(result), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 13, 14, 15, 16, 0, 0, 0, 0));
}

TEST_F(DirectoryVolume, GreyAtTheEndOfAColourOneLeavesTheRestZero) {
    EXPECT_THAT(bytesOf(read({colour8(1, 2, {1, 2, 3, 4, 5, 6}), grey8(1, 2, {7, 8})})),
                ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0));
}

TEST_F(DirectoryVolume, WhatNoSliceReachesIsZeroWhateverTheHostHandsOut) {
    makeHostUntidy();
    EXPECT_THAT(bytesOf(read({colour8(1, 1, {1, 2, 3}), grey8(1, 1, {7})})), ElementsAre(1, 2, 3, 7, 0, 0));
    EXPECT_THAT(bytesOf(read({colour8(1, 1, {1, 2, 3}), grey8(1, 1, {7}), grey8(1, 1, {8})})),
                ElementsAre(1, 2, 3, 7, 8, 0, 0, 0, 0));
    EXPECT_THAT(bytesOf(read({grey16(1, 1, {0x0201}), grey8(1, 1, {7}), grey16(1, 1, {0x0403})})),
                ElementsAre(1, 2, 0, 3, 4, 0));
}

TEST_F(DirectoryVolume, DeepGreyInAColourOneIsRenderedToItsDepth) {
    // Two samples of 16 bits count 4 bytes and write 2.
    EXPECT_THAT(bytesOf(read({colour8(1, 2, {1, 2, 3, 4, 5, 6}), grey16(1, 2, {0x4000, 0x5000}), grey8(1, 2, {7, 8})})),
                ElementsAre(1, 2, 3, 4, 5, 6, 0x40, 0x50, 0, 0, 7, 8, 0, 0, 0, 0, 0, 0));
}

TEST_F(DirectoryVolume, TakesTheFirstFrameOfAFileOfSeveral) {
    ImageFile frames = grey8(1, 2, {1, 2, 3, 4, 5, 6});
    frames.frames = "3";
    const Store result = read({grey8(1, 2, {8, 9}), frames});
    EXPECT_EQ(volume(result).slices, 2);
    EXPECT_THAT(bytesOf(result), ElementsAre(8, 9, 1, 2));
}

TEST_F(DirectoryVolume, SlicesOfOtherSizesAreAnError) {
    EXPECT_EQ(codeOfSeries({grey8(2, 3, {1, 2, 3, 4, 5, 6}), grey8(3, 2, {1, 2, 3, 4, 5, 6})}), -69);
    EXPECT_EQ(messageOf("Read3DImage", volumeArguments(kWithoutWindow)),
              "DICOM images from a single series have inconsistent dimensions.");
    EXPECT_EQ(outline(pictures(kWithoutWindow).view()),
              "P{1{1.1{" + folder.file("I0") + ":image," + folder.file("I1") + ":image}}}");
}

TEST_F(DirectoryVolume, ASeriesWithoutReadableFilesEndsTheRead) {
    writeSeries({seriesOf("1.1", {"A"}), seriesOf("1.2", {"MISSING"})});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(kWithoutWindow)), -71);
    EXPECT_EQ(messageOf("Read3DImage", volumeArguments(kWithoutWindow)), "No files found satisfying given criteria");
    EXPECT_EQ(outline(volumes(kWithoutWindow, 0, {.series = "1.1"}).view()), "P{1{1.1:image,1.2{}}}");
    writeSeries({seriesOf("1.1", {})});
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(kWithoutWindow)), -71);
}

TEST_F(DirectoryVolume, AMissingFileIsNoSlice) {
    writeFileIds({"A", "MISSING", "B"});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
    writeImage("B", 3, grey8(1, 2, {3, 4}));
    EXPECT_THAT(bytesOf(volumes(kWithoutWindow)), ElementsAre(1, 2, 3, 4));
}

TEST_F(DirectoryVolume, AFileThatIsNoImageEndsTheRead) {
    writeFileIds({"A", "REPORT"});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
    writeDicom(mediumPath(folder, "REPORT"), {});
    EXPECT_EQ(codeOf("Read3DImage", volumeArguments(kWithoutWindow)), -68);
    EXPECT_THAT(messageOf("Read3DImage", volumeArguments(kWithoutWindow)),
                HasSubstr("file " + folder.file("REPORT") + "."));
}

TEST_F(DirectoryVolume, OfASeriesThatIsLeftOutIsAnEmptyStore) {
    writeDirectory({patientRecord("P", "", {studyRecord("1", {seriesOf("1.1", {"A"}), seriesOf("1.2", {"MISSING"})})}),
                    patientRecord("Q", "", {studyRecord("2", {seriesOf("1.1", {"A"})})})});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
    EXPECT_EQ(outline(volumes(kWithoutWindow, 0, {.series = "1.1"}).view()), "P{1{1.1:image,1.2{}}},Q{2{1.1:image}}");
    EXPECT_EQ(outline(volumes(kWithoutWindow, 0, {.patient = "Q"}).view()), "Q{2{1.1:image}}");
    EXPECT_EQ(outline(volumes(kWithoutWindow, 0, {.study = "X"}).view()), "P{},Q{}");
}

TEST_F(DirectoryVolume, StudiesAndSeriesWithoutAKeyAreLeftOut) {
    const auto noSeries = without({DCM_SeriesInstanceUID, DCM_SeriesNumber});
    writeDirectory(
        {patientRecord("", "",
                       {studyRecord("", {seriesOf("1.1", {"MISSING"})}, without({DCM_StudyInstanceUID, DCM_StudyID})),
                        studyRecord("2", {seriesRecord("", "CT", {imageRecord("A", 0)}, noSeries)})},
                       without({DCM_PatientID, DCM_PatientName}))});
    writeImage("A", 1, grey8(1, 2, {1, 2}));
    EXPECT_EQ(outline(volumes(kWithoutWindow).view()), "{2{}}");
}

TEST_F(DirectoryVolume, ArgumentsAreReadAndRefusedInTheirOrder) {
    writeInOrder({grey8(1, 2, {1, 2})});
    const Value bad = Tensor(std::vector<vint>{3}, std::vector<double>{0, 0, 0});
    EXPECT_EQ(codeOf("Read3DImage", {"/missing/DICOMDIR", "(", ".*", ".*", bad, 1}), -73);
    EXPECT_EQ(codeOf("Read3DImage", {"/missing/DICOMDIR", "(", ".*", ".*", scaling(0), 1}), -62);
    EXPECT_EQ(codeOf("Read3DImage", {path, ".*", "(", ".*", scaling(0), 1}), 6);
    EXPECT_EQ(codeOf("Read3DImage", {path, ".*", ".*", ".*", scaling(0), 1}), 0);
    EXPECT_EQ(codeOf("Read3DImage", {path, ".*", ".*", ".*", bad}), -73) << "scaling before the flags";
    EXPECT_EQ(codeOf("Read3DImage", {path, ".*", ".*", ".*", scaling(0)}), -2);
    EXPECT_EQ(codeOf("Read3DImage", {path, ".*", ".*"}), 6) << "texts come before the scaling that is missing too";
}

TEST_F(DirectoryVolume, AFileThatPromisesThousandsOfMillionsOfPixelsIsRefused) {
    ImageFile file = grey8(1, 2, {1, 2});
    file.rows = 60000;
    file.columns = 60000;
    EXPECT_EQ(codeOfSeries({file}), -68);
}
