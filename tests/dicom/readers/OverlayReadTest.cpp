#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "dicom/readers/DcmFileReader.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"
#include "tests/support/ImageFiles.h"
#include "tests/support/Nodes.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace velmora;
using testing::ElementsAre;

namespace {

/// Attributes of one overlay plane of 2 x 3 pixels whose bits are the low ones of a word.
void putOverlay(DcmDataset& dataset, Uint16 group, Uint16 bits, const char* frames = nullptr,
                std::array<Sint16, 2> origin = {1, 1}) {
    dataset.putAndInsertUint16(DcmTag(group, 0x0010, EVR_US), 2);
    dataset.putAndInsertUint16(DcmTag(group, 0x0011, EVR_US), 3);
    if (frames != nullptr) {
        dataset.putAndInsertString(DcmTag(group, 0x0015, EVR_IS), frames);
        dataset.putAndInsertUint16(DcmTag(group, 0x0051, EVR_US), 1);
    }
    dataset.putAndInsertString(DcmTag(group, 0x0040, EVR_CS), "G");
    dataset.putAndInsertSint16Array(DcmTag(group, 0x0050, EVR_SS), origin.data(), 2);
    dataset.putAndInsertUint16(DcmTag(group, 0x0100, EVR_US), 1);
    dataset.putAndInsertUint16(DcmTag(group, 0x0102, EVR_US), 0);
    const Uint16 words[] = {bits};
    dataset.putAndInsertUint16Array(DcmTag(group, 0x3000, EVR_OW), words, 1);
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
        const auto* data = static_cast<const std::int8_t*>(image.data.get());
        return {data, data + image.length};
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(Overlays, AreNumberedFromOneAndTheFirstIsTheOneThatStandsAlone) {
    const auto path = write([](DcmDataset& dataset) {
        putOverlay(dataset, 0x6000, 0b100101);
        putOverlay(dataset, 0x6002, 0b000010);
    });
    const Value planes = call("ReadOverlays", {path});
    EXPECT_THAT(keysOf(planes.get<Store>().view()), ElementsAre("1", "2"));
    auto node = planes.get<Store>().begin();
    EXPECT_THAT(bitsOf(*(*node).cell().image), ElementsAre(1, 0, 1, 0, 0, 1));
    EXPECT_EQ((*node).cell().image->rows, 2);
    EXPECT_EQ((*node).cell().image->columns, 3);
    ++node;
    EXPECT_THAT(bitsOf(*(*node).cell().image), ElementsAre(0, 1, 0, 0, 0, 0));
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
    const auto path = write([](DcmDataset& dataset) { putOverlay(dataset, 0x6000, 0b111000'000001, "2"); }, 2);
    const Value planes = call("ReadOverlays", {path});
    ASSERT_EQ(planes.get<Store>().size(), 1U);
    EXPECT_THAT(bitsOf(*(*planes.get<Store>().begin()).cell().image), ElementsAre(1, 0, 0, 0, 0, 0));
}

TEST_F(Overlays, AColourImageHasNone) {
    const auto path = writeImageFile(folder.file("c.dcm"), {.rows = 1,
                                                            .columns = 2,
                                                            .samples = 3,
                                                            .bitsAllocated = 8,
                                                            .bitsStored = 8,
                                                            .photometric = "RGB",
                                                            .planarConfiguration = 0,
                                                            .words = {1, 2, 3}});
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -72);
    EXPECT_EQ(call("ReadOverlays", {path}).get<Store>().size(), 0U);
}

TEST_F(Overlays, AFileThatDcmtkCannotOpenAsAnImageHasNoFallback) {
    const auto path = writeImageFile(folder.file("n.dcm"), {.rows = 1, .columns = 2});
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -68);
    EXPECT_EQ(codeOf("ReadOverlays", {path}), -68);
}

TEST_F(Overlays, AreBurntInOnlyWhenAskedFor) {
    const auto path = write([](DcmDataset& dataset) { putOverlay(dataset, 0x6000, 0b100101); });
    const auto maximum = [&](bool show) {
        const Value image =
            call("ReadImage", {path, 0, 0, Tensor(std::vector<vint>{2}, std::vector<double>{-3.0, 0.0}), show, 1});
        const auto data = image.get<Image>().data<std::uint16_t>();
        return *std::max_element(data.begin(), data.end());
    };
    EXPECT_EQ(maximum(false), 0);
    EXPECT_GT(maximum(true), 0);
}

TEST_F(Overlays, RefusedImagesAreErrorsAndLeaveNothing) {
    const auto path = write([](DcmDataset& dataset) { putOverlay(dataset, 0x6000, 1); });
    ledger().refuse(Operation::VImage_new2D, 1);
    EXPECT_EQ(codeOf("ReadOverlay", {path}), -20);
    ledger().refuse(Operation::VImage_new2D, 1);
    EXPECT_EQ(codeOf("ReadOverlays", {path}), -20);
    ledger().refuse(Operation::createDataStore, 1);
    EXPECT_EQ(codeOf("ReadOverlays", {path}), -25);
    ledger().refuseNothing();
    EXPECT_EQ(codeOf("ReadOverlays", {path}), 0);
}

namespace {

using OverlayWords = ServicesTest;

} // namespace

TEST_F(OverlayWords, AreUnpackedLowestBitFirst) {
    GTU::LibraryData::setLibraryData(services().table());
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
        const auto path =
            write([&](DcmDataset& dataset) { putOverlay(dataset, 0x6000, 0b100101, nullptr, plane.origin); });
        const std::vector<int> bits = plane.isAboveOrLeft ? std::vector<int>(6) : std::vector<int>{1, 0, 1, 0, 0, 1};
        const Value planes = call("ReadOverlays", {path});
        ASSERT_EQ(planes.get<Store>().size(), 1U);
        EXPECT_EQ(bitsOf(*(*planes.get<Store>().begin()).cell().image), bits);
        EXPECT_EQ(bitsOf(call("ReadOverlay", {path}).get<Image>().info()), bits);
        const Tensor scaling(std::vector<vint>{2}, std::vector<double>{0.0, 0.0});
        EXPECT_EQ(codeOf("ReadImage", {path, 0, 0, scaling, true, 1}), 0) << "burnt in where it meets the image";
        call("ClearCache");
    }
}

TEST_F(Overlays, APlaneWhoseSizeOverflowsIsNotOpened) {
    // 2^30 frames of 2^15 x 2^15 pixels in 16 bits are 2^64 bits: in 64 bits DCMTK would count none.
    for (const char* frames : {"1073741824", "2147483647", "536870912"}) {
        const auto path = write([&](DcmDataset& dataset) {
            putOverlay(dataset, 0x601E, 0, frames);
            dataset.putAndInsertUint16(DcmTag(0x601E, 0x0010, EVR_US), 0x8000);
            dataset.putAndInsertUint16(DcmTag(0x601E, 0x0011, EVR_US), 0x8000);
            dataset.putAndInsertUint16(DcmTag(0x601E, 0x0100, EVR_US), 16);
            dataset.putAndInsertUint16(DcmTag(0x601E, 0x0102, EVR_US), 15);
            delete dataset.remove(DcmTagKey(0x601E, 0x3000));
        });
        const std::string message = messageOf("ReadOverlay", {path});
        EXPECT_THAT(message, testing::HasSubstr("image")) << frames;
        EXPECT_NE(codeOf("ReadOverlays", {path}), 0) << frames;
        call("ClearCache");
    }
}
