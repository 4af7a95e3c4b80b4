#include <array>

#include "dicom/readers/DcmFileReader.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Puts an overlay plane of 2 x 3 pixels whose bits are the low ones of a word.
void putPlane(DcmDataset& dataset, Uint16 group, Uint16 bits) {
    putOverlay(dataset, group, {.rows = 2, .columns = 3, .bits = bits});
}

class Overlays : public LibraryTest {
  protected:
    std::string write(const Fill& more, int frames = 1) {
        ImageFile file{.rows = 2, .columns = 3, .frames = frames > 1 ? std::to_string(frames) : "", .words = {}};
        file.words.resize(static_cast<std::size_t>(6 * frames));
        file.more = more;
        return writeImageFile(folder.file("a.dcm"), file);
    }
    static std::vector<int> bitsOf(const VelmoraImage& image) {
        EXPECT_EQ(image.type, VImage_Bit);
        EXPECT_EQ(image.rank, 2);
        EXPECT_EQ(image.channels, 1);
        EXPECT_EQ(image.colorSpace, 8);
        EXPECT_FALSE(image.interleaved);
        const auto bits = elementsOf<std::int8_t>(image);
        return {bits.begin(), bits.end()};
    }
};

} // namespace

TEST_F(Overlays, AreNumberedFromOneAndTheFirstIsTheOneThatStandsAlone) {
    const auto path = write([](DcmDataset& dataset) {
        putPlane(dataset, 0x6000, 0b100101);
        putPlane(dataset, 0x6002, 0b000010);
    });
    const Value planes = call("ReadOverlays", {path});
    EXPECT_THAT(keysOf(planes.get<Store>().view()), ElementsAre("1", "2"));
    const VelmoraImage& plane = imageAt(planes.get<Store>().view(), {0});
    EXPECT_THAT(bitsOf(plane), ElementsAre(1, 0, 1, 0, 0, 1));
    EXPECT_EQ(plane.rows, 2);
    EXPECT_EQ(plane.columns, 3);
    EXPECT_THAT(bitsOf(imageAt(planes.get<Store>().view(), {1})), ElementsAre(0, 1, 0, 0, 0, 0));
    const Value first = call("ReadOverlay", {path});
    EXPECT_THAT(bitsOf(first.get<Image>().info()), ElementsAre(1, 0, 1, 0, 0, 1));
}

TEST_F(Overlays, AFileWithoutAnyHasAnEmptyListAndNoFirst) {
    const auto path = write({});
    EXPECT_EQ(call("ReadOverlays", {path}).get<Store>().size(), 0U);
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -72);
    EXPECT_EQ(messageOf("ReadOverlay", {path}), "Could not read overlays from " + path + ".");
}

TEST_F(Overlays, OfSeveralFramesTheFirstIsRead) {
    const auto path = write(
        [](DcmDataset& dataset) {
            putOverlay(dataset, 0x6000, {.rows = 2, .columns = 3, .bits = 0b111000'000001, .frames = "2"});
        },
        2);
    const Value planes = call("ReadOverlays", {path});
    ASSERT_EQ(planes.get<Store>().size(), 1U);
    EXPECT_THAT(bitsOf(imageAt(planes.get<Store>().view(), {0})), ElementsAre(1, 0, 0, 0, 0, 0));
}

TEST_F(Overlays, AColourImageHasNone) {
    const auto path = writeImageFile(folder.file("c.dcm"), colour8(1, 2, {1, 0, 2, 0, 3, 0}));
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -72);
    EXPECT_EQ(call("ReadOverlays", {path}).get<Store>().size(), 0U);
}

TEST_F(Overlays, AFileThatDcmtkCannotOpenAsAnImageHasNoFallback) {
    const auto path = writeImageFile(folder.file("n.dcm"), {.rows = 1, .columns = 2});
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -68);
    EXPECT_EQ(codeOf("ReadOverlays", {path}), -68);
}

TEST_F(Overlays, AreBurntInOnlyWhenAskedFor) {
    const auto path = write([](DcmDataset& dataset) { putPlane(dataset, 0x6000, 0b100101); });
    const auto maximum = [&](bool show) {
        const Value image = call("ReadImage", {path, 0, 0, scaling(-3.0), show, 1});
        const auto data = image.get<Image>().data<std::uint16_t>();
        return *std::max_element(data.begin(), data.end());
    };
    EXPECT_EQ(maximum(false), 0);
    EXPECT_GT(maximum(true), 0);
}

TEST_F(Overlays, RefusedImagesAreErrorsAndLeaveNothing) {
    const auto path = write([](DcmDataset& dataset) { putPlane(dataset, 0x6000, 1); });
    ledger().refuse(Operation::VImage_new2D, 1);
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -20);
    ledger().refuse(Operation::VImage_new2D, 1);
    EXPECT_EQ(codeOf("ReadOverlays", {path}), -20);
    ledger().refuse(Operation::createDataStore, 1);
    EXPECT_EQ(codeOf("ReadOverlays", {path}), -25);
    ledger().refuseNothing();
    EXPECT_EQ(codeOf("ReadOverlays", {path}), 0);
}

using OverlayWords = ClassTest;

TEST_F(OverlayWords, AreUnpackedLowestBitFirst) {
    const Uint16 words[] = {0x0005, 0xFFFF};
    const auto array = radvex::readOverlayDataBuffer(words, 1, {4, 4});
    const std::vector<int> pixels(array.begin(), array.end());
    EXPECT_THAT(pixels, ElementsAre(1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    const auto small = radvex::readOverlayDataBuffer(words, 2, {2, 2});
    EXPECT_EQ(small.getSize(), 4) << "words beyond the array are left out";
}

// Of their part inside the image DCMTK computes a width near 2^32; of those above or left of it, it reads no bits.
TEST_F(Overlays, OutsideTheImageKeepTheirSize) {
    struct Case {
        std::array<Sint16, 2> origin{};
        bool isAboveOrLeft = false;
    };
    constexpr Sint16 kFar = 32767;
    for (const Case& plane : {Case{{1, 100}}, Case{{100, 1}}, Case{{kFar, kFar}}, Case{{-kFar, -kFar}, true},
                              Case{{1, -100}, true}, Case{{-100, 1}, true}, Case{{0, 0}}, Case{{3, 4}}}) {
        SCOPED_TRACE(testing::PrintToString(plane.origin));
        const auto path = write([&](DcmDataset& dataset) {
            putOverlay(dataset, 0x6000, {.rows = 2, .columns = 3, .bits = 0b100101, .origin = plane.origin});
        });
        const std::vector<int> bits = plane.isAboveOrLeft ? std::vector<int>(6) : std::vector<int>{1, 0, 1, 0, 0, 1};
        const Value planes = call("ReadOverlays", {path});
        ASSERT_EQ(planes.get<Store>().size(), 1U);
        EXPECT_EQ(bitsOf(imageAt(planes.get<Store>().view(), {0})), bits);
        EXPECT_EQ(bitsOf(call("ReadOverlay", {path}).get<Image>().info()), bits);
        EXPECT_EQ(codeOf("ReadImage", {path, 0, 0, scaling(), true, 1}), 0) << "burnt in where it meets the image";
        call("ClearCache");
    }
}

TEST_F(Overlays, APlaneWhoseSizeOverflowsIsNotOpened) {
    // 2^30 frames of 2^15 x 2^15 pixels in 16 bits are 2^64 bits: in 64 bits DCMTK would count none.
    for (const char* frames : {"1073741824", "2147483647", "536870912"}) {
        const auto path = write([&](DcmDataset& dataset) {
            putOverlay(dataset, 0x601E, {.rows = 0x8000, .columns = 0x8000, .frames = frames});
            dataset.putAndInsertUint16(DcmTag(0x601E, 0x0100, EVR_US), 16);
            dataset.putAndInsertUint16(DcmTag(0x601E, 0x0102, EVR_US), 15);
            delete dataset.remove(DcmTagKey(0x601E, 0x3000));
        });
        const std::string message = messageOf("ReadOverlay", {path});
        EXPECT_THAT(message, HasSubstr("image")) << frames;
        EXPECT_NE(codeOf("ReadOverlays", {path}), 0) << frames;
        call("ClearCache");
    }
}

TEST_F(Overlays, OfAStandaloneOverlayAreReadAndItsPixelsAreNot) {
    const auto path = writeDicom(folder.file("s.dcm"), [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_SOPClassUID, UID_RETIRED_StandaloneOverlayStorage);
        putPlane(dataset, 0x6000, 0b100101);
    });
    const Value first = call("ReadOverlay", {path});
    EXPECT_THAT(bitsOf(first.get<Image>().info()), ElementsAre(1, 0, 1, 0, 0, 1));
    EXPECT_EQ(call("ReadOverlays", {path}).get<Store>().size(), 1U);
    EXPECT_EQ(messageOf("ReadIntermediatePixelData", {path, 1, 0}),
              "Could not open DICOM image in file " + path + ". Operation status: it has overlays and no pixels.");
}
