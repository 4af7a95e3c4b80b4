#include "dcmtk/dcmimgle/dcmimage.h"
#include "dicom/readers/DcmFileReader.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class IntermediateData : public LibraryTest {
  protected:
    NumericArray read(const ImageFile& file, vint flags = 1, vint count = 0) {
        call("ClearCache");
        const auto path = writeImageFile(folder.file("a.dcm"), file);
        return std::get<NumericArray>(call("ReadIntermediatePixelData", {path, flags, count}));
    }
};

ImageFile frames(int count) {
    ImageFile file{.rows = 2, .columns = 3, .frames = std::to_string(count), .words = {}};
    for (int frame = 0; frame < count; ++frame) {
        for (const int pixel : {0, 1, 2, 10, 11, 12}) {
            file.words.push_back(static_cast<Uint16>(1000 + 100 * frame + pixel));
        }
    }
    return file;
}

} // namespace

TEST_F(IntermediateData, SignedPixelsWithAnInterceptKeepTheirRescaledRange) {
    // -100 and 3000 stored in 12 of 16 bits, slope 1, intercept -1024.
    const NumericArray array = read({.rows = 1,
                                     .columns = 2,
                                     .bitsStored = 12,
                                     .pixelRepresentation = 1,
                                     .slope = "1",
                                     .intercept = "-1024",
                                     .words = {0x0F9C, 0x07FF}});
    EXPECT_EQ(array.type(), VNumericArray_S16);
    EXPECT_THAT(elementsOf<std::int16_t>(array), ElementsAre(-1124, 2047 - 1024));
}

TEST_F(IntermediateData, ATypeThatTheRescaledRangeNeedsIsChosen) {
    const NumericArray array =
        read({.rows = 1, .columns = 2, .slope = "2", .intercept = "-70000", .words = {0, 65535}});
    EXPECT_EQ(array.type(), VNumericArray_S32);
    EXPECT_THAT(elementsOf<std::int32_t>(array), ElementsAre(-70000, 2 * 65535 - 70000));
}

TEST_F(IntermediateData, SeveralFramesComeFirstAndOneFrameHasNone) {
    EXPECT_EQ(read(frames(10)).dimensions(), (std::vector<vint>{10, 2, 3}));
    EXPECT_EQ(read(frames(10), 1, 1).dimensions(), (std::vector<vint>{2, 3}));
    const NumericArray two = read(frames(10), 1, 2);
    EXPECT_EQ(two.dimensions(), (std::vector<vint>{2, 2, 3}));
    EXPECT_THAT(elementsOf<std::uint16_t>(two),
                ElementsAre(1000, 1001, 1002, 1010, 1011, 1012, 1100, 1101, 1102, 1110, 1111, 1112));
}

TEST_F(IntermediateData, TheSecondArgumentIsFlagsAndNotAFirstFrame) {
    // 0x40 leaves the modality transformation out. As a first frame it would lie beyond the file.
    ImageFile file{.rows = 1, .columns = 2, .slope = "1", .intercept = "-1000", .words = {500, 600}};
    EXPECT_THAT(elementsOf<std::uint16_t>(read(file, 0x40)), ElementsAre(500, 600));
}

TEST_F(IntermediateData, OfColourOnlyTheFirstPlaneArrives) {
    const NumericArray array = read(colour8(1, 2, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(array.dimensions(), (std::vector<vint>{1, 2}));
    EXPECT_THAT(elementsOf<std::uint8_t>(array), ElementsAre(1, 4)) << "the red samples, and no pointers";
}

TEST_F(IntermediateData, AFileWithoutPixelsIsAnOpenErrorWithItsStatus) {
    const auto path = writeImageFile(folder.file("a.dcm"), {.rows = 1, .columns = 2});
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), -68);
    EXPECT_EQ(messageOf("ReadIntermediatePixelData", {path, 1, 0}),
              "Could not open DICOM image in file " + path + ". Operation status: Missing attribute.");
}

TEST_F(IntermediateData, ARefusedArrayIsAnError) {
    const auto path = writeImageFile(folder.file("a.dcm"), frames(1));
    ledger().refuse(Operation::VNumericArray_new, 1);
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), -9);
    ledger().refuseNothing();
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
}

using ReaderOfFrames = ClassTest;

// The exported function cannot choose a first frame; the reader can.
TEST_F(ReaderOfFrames, StartsAtTheFrameThatTheOptionsName) {
    const radvex::DcmFileReader reader(writeImageFile(folder.file("a.dcm"), frames(10)));
    radvex::ArrayList list;
    radvex::ImageOpenOptions options;
    options.frameStart = 3;
    options.frameCount = 2;
    reader.readIntermediatePixelData(list, options);
    const VelmoraNumericArray& array = *list.getInternal()->first->cell.numericArray;
    EXPECT_EQ(array.dimensions, (std::vector<vint>{2, 2, 3}));
    EXPECT_EQ(elementsOf<std::uint16_t>(array)[0], 1300);
}

TEST_F(ReaderOfFrames, AnotherNumberOfSamplesIsToldBeforeTheExpectedOne) {
    EXPECT_NO_THROW(radvex::requirePixelCount(6, 6));
    EXPECT_EQ(errorOf([] { radvex::requirePixelCount(5, 6); }), "RawPixelCountError");
    EXPECT_EQ(services().symbolValues(GTU::GantryError::getExceptionDetailsSymbol()),
              (std::vector<std::string>{"5", "6"}));
}
