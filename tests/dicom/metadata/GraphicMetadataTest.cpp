#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class GraphicMetadata : public LibraryTest {
  protected:
    std::string write(const ImageFile& file) { return writeImageFile(folder.file("a.dcm"), file); }
    std::string writeOverlay(int rows, int columns, const std::vector<Uint16>& words, const std::string& frames = "") {
        return writeDicom(folder.file("o.dcm"), [&](DcmDataset& dataset) {
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0010, EVR_US), static_cast<Uint16>(rows));
            dataset.putAndInsertUint16(DcmTag(0x6000, 0x0011, EVR_US), static_cast<Uint16>(columns));
            if (!frames.empty()) {
                dataset.putAndInsertString(DcmTag(0x6000, 0x0015, EVR_IS), frames.c_str());
            }
            dataset.putAndInsertUint16Array(DcmTag(0x6000, 0x3000, EVR_OW), words.data(), words.size());
        });
    }

    /// The frames of an attribute, read anew.
    Store read(const std::string& path, const char* keyword = "PixelData") {
        call("ClearCache");
        return std::get<Store>(call("ReadMetadata", {path, Store::ofTexts({keyword}), false}));
    }

    /// Shape and elements of each frame.
    template <typename T>
    static std::vector<std::vector<T>> frames(const Store& result, const std::vector<vint>& shape, vint type) {
        std::vector<std::vector<T>> all;
        for (const NodeView node : storeAt(result.view(), 0)) {
            EXPECT_EQ(node.name(), "");
            EXPECT_EQ(node.cell().numericArray->dimensions, shape);
            EXPECT_EQ(node.cell().numericArray->type, type);
            all.push_back(elementsOf<T>(*node.cell().numericArray));
        }
        return all;
    }
};

} // namespace

TEST_F(GraphicMetadata, OneFrameOfWordsIsOneArrayOfRowsAndColumns) {
    const Store result = read(write({.rows = 2, .columns = 3, .words = {0, 1, 2, 10, 11, 65535}}));
    EXPECT_THAT(keysOf(result.view()), ElementsAre("PixelData"));
    EXPECT_THAT(frames<Uint16>(result, {2, 3}, VNumericArray_U16),
                ElementsAre(std::vector<Uint16>{0, 1, 2, 10, 11, 65535}));
}

TEST_F(GraphicMetadata, PixelDataByNumberAreThoseByKeyword) {
    const auto path = write({.rows = 2, .columns = 3, .words = {0, 1, 2, 10, 11, 12}});
    const Value result = call("ReadMetadataIntTags", {path, Store::of({Store::ofTexts({"7FE0", "0010"})})});
    EXPECT_THAT(frames<Uint16>(result.get<Store>(), {2, 3}, VNumericArray_U16),
                ElementsAre(std::vector<Uint16>{0, 1, 2, 10, 11, 12}));
}

TEST_F(GraphicMetadata, ColourByPixelHasItsSamplesLast) {
    // Two frames of 1 x 2 RGB pixels, a byte each: 1..6 and 7..12.
    const Store result = read(write({.rows = 1,
                                     .columns = 2,
                                     .samples = 3,
                                     .bitsAllocated = 8,
                                     .planarConfiguration = 0,
                                     .frames = "2",
                                     .words = {0x0201, 0x0403, 0x0605, 0x0807, 0x0A09, 0x0C0B}}));
    EXPECT_THAT(frames<Uint8>(result, {1, 2, 3}, VNumericArray_U8),
                ElementsAre(std::vector<Uint8>{1, 2, 3, 4, 5, 6}, std::vector<Uint8>{7, 8, 9, 10, 11, 12}));
}

TEST_F(GraphicMetadata, ColourByPlaneHasItsSamplesFirst) {
    const Store result = read(write({.rows = 1,
                                     .columns = 2,
                                     .samples = 3,
                                     .bitsAllocated = 8,
                                     .planarConfiguration = 1,
                                     .frames = "2",
                                     .words = {0x0201, 0x0403, 0x0605, 0x0807, 0x0A09, 0x0C0B}}));
    EXPECT_THAT(frames<Uint8>(result, {3, 1, 2}, VNumericArray_U8),
                ElementsAre(std::vector<Uint8>{1, 2, 3, 4, 5, 6}, std::vector<Uint8>{7, 8, 9, 10, 11, 12}));
}

TEST_F(GraphicMetadata, OverlayDataOfTheFirstGroupIsShapedByNumberToo) {
    const auto path = writeOverlay(4, 4, {0x8000});
    const Value result = call("ReadMetadataIntTags", {path, Store::of({Store::ofTexts({"6000", "3000"})})});
    std::vector<signed char> expected(16, 0);
    expected[15] = 1;
    EXPECT_THAT(frames<signed char>(result.get<Store>(), {4, 4}, VNumericArray_S8), ElementsAre(expected));
}

TEST_F(GraphicMetadata, ByNumberComesUnderTheKeywordAndInTheSameForm) {
    const auto path = write(
        {.rows = 2,
         .columns = 3,
         .frames = "2",
         .words = {0, 1, 2, 10, 11, 12, 100, 101, 102, 110, 111, 112},
         .more = [](DcmDataset& dataset) { putOverlay(dataset, 0x6000, {.rows = 2, .columns = 4, .bits = 0x00A5}); }});
    const Value byKeyword = call("ReadMetadata", {path, Store::ofTexts({"PixelData", "OverlayData"}), false});
    const Value byNumber = call(
        "ReadMetadataIntTags", {path, Store::of({Store::ofTexts({"7FE0", "0010"}), Store::ofTexts({"6000", "3000"})})});
    EXPECT_EQ(outline(byKeyword.get<Store>().view()), "PixelData{:array,:array},OverlayData{:array}");
    EXPECT_EQ(outline(byNumber.get<Store>().view()), "PixelData{:array,:array},OverlayData{:array}");
    EXPECT_EQ(digestOf(byNumber), digestOf(byKeyword));
}

TEST_F(GraphicMetadata, ColourWithoutPlanarConfigurationHasNoNode) {
    EXPECT_EQ(read(write({.rows = 1, .columns = 1, .samples = 3, .bitsAllocated = 8, .words = {1, 2}})).size(), 0U);
}

TEST_F(GraphicMetadata, WhatTellsTheShapeMustBeThere) {
    EXPECT_EQ(read(write({.rows = -1, .columns = 3, .words = {1}})).size(), 0U);
    EXPECT_EQ(read(write({.rows = 2, .columns = -1, .words = {1}})).size(), 0U);
    EXPECT_EQ(read(write({.rows = 2, .columns = 3, .samples = -1, .words = {1}})).size(), 0U);
    EXPECT_EQ(read(write({.rows = 2, .columns = 3, .bitsAllocated = -1, .words = {1}})).size(), 0U);
}

TEST_F(GraphicMetadata, TwelveBitsAllocatedAreReadAsWords) {
    const Store result = read(write({.rows = 2, .columns = 3, .bitsAllocated = 12, .words = {0, 1, 2, 10, 11, 12}}));
    EXPECT_EQ(frames<Uint16>(result, {2, 3}, VNumericArray_U16).size(), 1U);
}

TEST_F(GraphicMetadata, NoFramesAreAnEmptyStore) {
    const Store result = read(write({.rows = 2, .columns = 3, .frames = "0", .words = {1}}));
    EXPECT_THAT(keysOf(result.view()), ElementsAre("PixelData"));
    EXPECT_EQ(storeAt(result.view(), 0).size(), 0U);
}

TEST_F(GraphicMetadata, WhatTheValueDoesNotHoldIsZero) {
    const Store result = read(write({.rows = 2, .columns = 2, .frames = "3", .words = {1, 2, 3, 4, 5, 6}}));
    EXPECT_THAT(
        frames<Uint16>(result, {2, 2}, VNumericArray_U16),
        ElementsAre(std::vector<Uint16>{1, 2, 3, 4}, std::vector<Uint16>{5, 6, 0, 0}, std::vector<Uint16>{0, 0, 0, 0}));
}

TEST_F(GraphicMetadata, AFrameCountThatIsNoNumberIsAGeneralFailure) {
    for (const char* count : {"many", "", " ", "99999999999999999999"}) {
        const auto path = write({.rows = 2, .columns = 3, .frames = *count == '\0' ? "\\" : count, .words = {1}});
        EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false}), 6) << count;
        call("ClearCache");
    }
}

TEST_F(GraphicMetadata, ANegativeFrameCountPromisesTooMuch) {
    EXPECT_EQ(read(write({.rows = 2, .columns = 3, .frames = "-1", .words = {1}})).size(), 0U);
}

TEST_F(GraphicMetadata, AShapeThatPromisesMuchMoreThanTheValueHoldsHasNoNode) {
    EXPECT_EQ(read(write({.rows = 20000, .columns = 20000, .words = {1}})).size(), 0U) << "800 MB";
    EXPECT_EQ(read(write({.rows = 2, .columns = 3, .frames = "2147483647", .words = {1}})).size(), 0U);
    EXPECT_EQ(read(write({.rows = 2, .columns = 0, .frames = "2147483647", .words = {1}})).size(), 0U)
        << "frames without pixels";
    // A file of 591 bytes once became ten million arrays.
    EXPECT_EQ(read(write({.rows = 1, .columns = 1, .frames = "300000", .words = {1}})).size(), 0U);
    EXPECT_EQ(read(write({.rows = 1, .columns = 1, .frames = "200000", .words = {1}})).size(), 1U);
    EXPECT_EQ(read(write({.rows = 8000, .columns = 8000, .words = {1}})).size(), 1U) << "128 MB are filled with 0";
}

TEST_F(GraphicMetadata, AFrameBeyondTheHostsIntegerIsADimensionsError) {
    const auto path = write({.rows = 65535, .columns = 65535, .words = {1}});
    EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false}), 3);
    EXPECT_EQ(codeOf("ReadMetadata", {writeOverlay(65535, 65535, {1}), Store::ofTexts({"OverlayData"}), false}), 3);
}

TEST_F(GraphicMetadata, NoRowsAreADimensionsErrorAndNoColumnsAnEmptyArray) {
    EXPECT_EQ(
        codeOf("ReadMetadata", {write({.rows = 0, .columns = 3, .words = {1}}), Store::ofTexts({"PixelData"}), false}),
        3);
    EXPECT_THAT(frames<Uint16>(read(write({.rows = 2, .columns = 0, .words = {1}})), {2, 0}, VNumericArray_U16),
                ElementsAre(std::vector<Uint16>{}));
}

TEST_F(GraphicMetadata, AnOverlayIsOneByteForEachBit) {
    const Store result = read(writeOverlay(4, 4, {0x0001}), "OverlayData");
    EXPECT_THAT(keysOf(result.view()), ElementsAre("OverlayData"));
    std::vector<signed char> expected(16, 0);
    expected[0] = 1;
    EXPECT_THAT(frames<signed char>(result, {4, 4}, VNumericArray_S8), ElementsAre(expected));
}

TEST_F(GraphicMetadata, EachFrameOfAnOverlayStartsAtAWholeWord) {
    // 3 x 3 pixels fill 9 bits; the other 7 of each word belong to no pixel.
    const Store result = read(writeOverlay(3, 3, {0xFE01, 0xFF00}, "2"), "OverlayData");
    EXPECT_THAT(frames<signed char>(result, {3, 3}, VNumericArray_S8),
                ElementsAre(std::vector<signed char>{1, 0, 0, 0, 0, 0, 0, 0, 0},
                            std::vector<signed char>{0, 0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST_F(GraphicMetadata, OverlayPixelsBeyondTheValueAreZero) {
    const Store result = read(writeOverlay(2, 12, {0xFFFF}, "2"), "OverlayData");
    std::vector<signed char> first(24, 1);
    std::fill(first.begin() + 16, first.end(), 0);
    EXPECT_THAT(frames<signed char>(result, {2, 12}, VNumericArray_S8),
                ElementsAre(first, std::vector<signed char>(24, 0)));
}

TEST_F(GraphicMetadata, AnOverlayThatPromisesMuchMoreThanItHoldsHasNoNode) {
    EXPECT_EQ(read(writeOverlay(20000, 20000, {1}), "OverlayData").size(), 0U);
    EXPECT_EQ(read(writeOverlay(2, 2, {1}, "-5"), "OverlayData").size(), 0U);
}

TEST_F(GraphicMetadata, AnOverlayOfAnotherGroupIsAPlainElementByNumber) {
    const auto path = writeDicom(folder.file("b.dcm"), [](DcmDataset& dataset) {
        const Uint16 words[] = {0x0001};
        dataset.putAndInsertUint16(DcmTag(0x6002, 0x0010, EVR_US), 4);
        dataset.putAndInsertUint16(DcmTag(0x6002, 0x0011, EVR_US), 4);
        dataset.putAndInsertUint16Array(DcmTag(0x6002, 0x3000, EVR_OW), words, 1);
    });
    EXPECT_EQ(read(path, "OverlayData").size(), 0U) << "the attributes of group 6000 are missing";
    const Value byNumber = call("ReadMetadataIntTags", {path, Store::of({Store::ofTexts({"6002", "3000"})})});
    const NodeView node = *byNumber.get<Store>().begin();
    EXPECT_EQ(node.name(), "OverlayData");
    EXPECT_EQ(node.type(), VType_Tensor);
    EXPECT_EQ(node.cell().tensor->length, 1);
}

TEST_F(GraphicMetadata, RefusedArraysAndStoresAreErrorsAndLeaveNothing) {
    const auto path =
        write({.rows = 2, .columns = 3, .frames = "2", .words = {0, 1, 2, 10, 11, 12, 100, 101, 102, 110, 111, 112}});
    for (long n = 1; n <= 2; ++n) {
        ledger().refuse(Operation::VNumericArray_new, n);
        EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false}), -9);
        ledger().refuse(Operation::createDataStore, n);
        EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false}), -25);
    }
    ledger().refuseNothing();
    EXPECT_EQ(codeOf("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false}), 0);
}
