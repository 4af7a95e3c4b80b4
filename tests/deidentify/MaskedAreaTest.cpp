#include "deidentify/pixels/MaskedArea.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/deidentify/PixelPictures.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using namespace radvex::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Two columns from the third on, of rows 1 to 3.
const std::string kRectangle = R"("rectangles": [[2, 1, 2, 3]])";

/// One frame of 5 rows of 8 bytes, of which `isBlank` says what is 0.
std::vector<Uint8> blankedWhere(const std::function<bool(int row, int column)>& isBlank) {
    std::vector<Uint8> bytes = spelledBytes(40);
    for (int row = 0; row < 5; ++row) {
        for (int column = 0; column < 8; ++column) {
            if (isBlank(row, column)) {
                bytes[static_cast<std::size_t>(row * 8 + column)] = 0;
            }
        }
    }
    return bytes;
}

} // namespace

TEST(MaskedArea, RectanglesCountFromEitherEdgeAndEndAtTheImage) {
    const Picture picture{};
    EXPECT_EQ(masked(picture, spelledBytes(40), R"("rectangles": [[-2, -1, 9, 9]])"),
              blankedWhere([](int row, int column) { return row == 4 && column >= 6; }));
    EXPECT_EQ(masked(picture, spelledBytes(40), R"("rectangles": [[-10, 0, 3, 2]])"),
              blankedWhere([](int row, int column) { return row < 2 && column < 1; }));
    EXPECT_EQ(masked(picture, spelledBytes(40), R"("rectangles": [[0, 3, 9223372036854775807, 18446744073709551615]])"),
              blankedWhere([](int row, int) { return row >= 3; }));
}

TEST(MaskedArea, ARectangleThatMissesTheImageIsNoMask) {
    EXPECT_THAT(refusal({}, 40, R"("rectangles": [[0, 0, 1, 1], [8, 0, 1, 1]])"),
                AllOf(StartsWith("it cannot be masked, because rectangle 2 lies outside of its 8 columns and 5 rows"),
                      HasSubstr("rule 1")));
    EXPECT_THAT(refusal({}, 40, R"("rectangles": [[0, -9, 8, 4]])"), HasSubstr("rectangle 1 lies outside"));
}

TEST(MaskedArea, SeveralRectanglesAndRulesAddUp) {
    DcmFileFormat file;
    fillPicture(file, {}, spelledBytes(40));
    ASSERT_TRUE(mask(file, MaskRules::parse(R"([{"rectangles": [[0, 0, 3, 1], [2, 0, 2, 2], [7, 4, 1, 1]]},
        {"match": {"Modality": "CT"}, "rectangles": [[0, 0, 8, 5]]}, {"rectangles": [[0, 3, 1, 1]]}])",
                                            "r")));
    EXPECT_EQ(pixelBytes(*file.getDataset()), blankedWhere([](int row, int column) {
                  return (row == 0 && column < 4) || (row == 1 && (column == 2 || column == 3)) ||
                         (row == 4 && column == 7) || (row == 3 && column == 0);
              }));
}

TEST(MaskedArea, OutsideRegionsLeavesTheRegionsWithTheirEdges) {
    const auto regions = [](DcmItem& dataset) {
        putRegion(dataset, 1, 1, 3, 3);
        putRegion(dataset, 3, 2, 99, 2); // reaches beyond the image
    };
    EXPECT_EQ(masked({}, spelledBytes(40), R"("outsideRegions": true)", regions), blankedWhere([](int row, int column) {
                  const bool isFirst = row >= 1 && row <= 3 && column >= 1 && column <= 3;
                  return !isFirst && !(row == 2 && column >= 3);
              }));
    EXPECT_EQ(
        masked({}, spelledBytes(40), R"("outsideRegions": true, "rectangles": [[2, 2, 1, 1]])", regions)[2 * 8 + 2], 0);
}

TEST(MaskedArea, RegionsThatSayNothingAreAnError) {
    const std::string rule = R"("outsideRegions": true)";
    EXPECT_THAT(refusal({}, 40, rule), HasSubstr("it has no regions"));
    EXPECT_THAT(refusal({}, 40, rule, [](DcmItem& dataset) { putRegion(dataset, 3, 0, 2, 4); }),
                HasSubstr("makes no sense"));
    EXPECT_THAT(refusal({}, 40, rule, [](DcmItem& dataset) { putRegion(dataset, 8, 0, 9, 4); }),
                HasSubstr("makes no sense"));
    EXPECT_THAT(refusal({}, 40, rule, [](DcmItem& dataset) { putRegion(dataset, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF); }),
                HasSubstr("leave nothing outside"));
    EXPECT_THAT(refusal({}, 40, rule, [](DcmItem& dataset) { addItem(dataset, DCM_SequenceOfUltrasoundRegions); }),
                HasSubstr("has no place"));
}

TEST(MaskedArea, OverlaysAreBlankedAtTheirPlaceInTheImage) {
    DcmFileFormat file;
    fillPicture(file, {}, spelledBytes(40));
    DcmDataset& dataset = *file.getDataset();
    // 4 rows of 4 columns, of which the first lies on the second row and the third column: it is all set.
    putOverlay(dataset, 0x6002, {.rows = 4, .columns = 4, .bits = 0xFFFF, .origin = {2, 3}});
    // One row and one column before the image.
    putOverlay(dataset, 0x6004, {.rows = 4, .columns = 4, .bits = 0xFFFF, .origin = {0, 0}});
    ASSERT_TRUE(mask(file, rulesOf(kRectangle))); // columns 2 and 3, rows 1 to 3
    EXPECT_EQ(pixelBytes(dataset, DcmTagKey(0x6002, 0x3000)), (std::vector<Uint8>{0xCC, 0xFC}));
    // Rows of 4 bits: all of the first; of the others the first, which lies before the image. Of rows 1 and 2 of the
    // image also column 2, the last one.
    EXPECT_EQ(pixelBytes(dataset, DcmTagKey(0x6004, 0x3000)), (std::vector<Uint8>{0xE0, 0x66}));
}

TEST(MaskedArea, AnOverlayThatIsShorterThanItSaysIsAnError) {
    EXPECT_THAT(refusal({}, 40, kRectangle,
                        [](DcmItem& dataset) { putOverlay(dataset, 0x6000, {.rows = 5, .columns = 8, .bits = 1}); }),
                HasSubstr("overlay"));
    EXPECT_THAT(refusal({}, 40, kRectangle,
                        [](DcmItem& dataset) {
                            putOverlay(dataset, 0x6000,
                                       {.rows = 4, .columns = 4, .bits = 1, .frames = "1152921504606846977"});
                        }),
                HasSubstr("overlay"));
}
