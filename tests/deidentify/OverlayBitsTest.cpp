#include "deidentify/pixels/OverlayBits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/deidentify/PixelPictures.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using namespace radvex::test;
using testing::HasSubstr;

namespace {

const Picture kTwelveBits{.rows = 3, .columns = 5, .allocated = 16, .stored = 12, .high = 11};

/// Claims a bit of each pixel word for an overlay.
void claim(DcmItem& dataset, Uint16 group, Uint16 allocated, Uint16 position) {
    dataset.putAndInsertUint16(DcmTag(group, 0x0100, EVR_US), allocated);
    dataset.putAndInsertUint16(DcmTag(group, 0x0102, EVR_US), position);
}

struct Cleared {
    OverlayBits result;
    std::vector<Uint8> bytes;
};

Cleared cleared(const Picture& picture, const std::vector<Uint8>& bytes, const Fill& claims) {
    DcmFileFormat file;
    fillPicture(file, picture, bytes);
    claims(*file.getDataset());
    OverlayBits result = clearOverlayBits(*file.getDataset());
    return {result, pixelBytes(*file.getDataset())};
}

} // namespace

TEST(OverlayBits, ClearsTheClaimedBitsAndLeavesStoredValues) {
    const auto bytes = spelledBytes(30);
    std::vector<Uint8> wanted = bytes;
    for (std::size_t at = 1; at < wanted.size(); at += 2) {
        wanted[at] = wanted[at] & 0x5F; // without bits 13 and 15
    }
    const auto [result, left] = cleared(kTwelveBits, bytes, [](DcmItem& dataset) {
        claim(dataset, 0x6000, 16, 13);
        claim(dataset, 0x601E, 16, 15);
    });
    EXPECT_EQ(result.cleared, 0xA000U);
    EXPECT_EQ(result.problem, "");
    EXPECT_EQ(left, wanted);
}

TEST(OverlayBits, ClearsBitsBelowTheStoredValueAndInLongWords) {
    const Picture longWords{.rows = 1, .columns = 3, .allocated = 32, .stored = 20, .high = 23};
    auto wanted = std::vector<Uint8>(12, 0xFF);
    wanted[0] = wanted[4] = wanted[8] = 0xFD; // without bit 1
    const auto [result, left] =
        cleared(longWords, std::vector<Uint8>(12, 0xFF), [](DcmItem& dataset) { claim(dataset, 0x6002, 32, 1); });
    EXPECT_EQ(result.cleared, 2U);
    EXPECT_EQ(left, wanted);
}

TEST(OverlayBits, AClaimOnTheStoredValueChangesNothing) {
    const auto [result, left] =
        cleared(kTwelveBits, spelledBytes(30), [](DcmItem& dataset) { claim(dataset, 0x6000, 16, 11); });
    EXPECT_EQ(result.cleared, 0U);
    EXPECT_THAT(result.problem, HasSubstr("inside the stored values"));
    EXPECT_EQ(left, spelledBytes(30));
}

TEST(OverlayBits, PlanesWithDataOfTheirOwnAndNonsenseClaimNothing) {
    const auto [result, left] = cleared(kTwelveBits, spelledBytes(30), [](DcmItem& dataset) {
        claim(dataset, 0x6000, 16, 15);
        putOverlay(dataset, 0x6000, {.rows = 3, .columns = 5, .bits = 1});
        claim(dataset, 0x6002, 1, 0);
        claim(dataset, 0x6004, 16, 65535);
    });
    EXPECT_EQ(result.cleared, 0U);
    EXPECT_EQ(result.problem, "");
    EXPECT_EQ(left, spelledBytes(30));
}

TEST(OverlayBits, SaysWhatItCannotSearch) {
    Picture broken = kTwelveBits;
    broken.high = 16;
    const auto [result, left] =
        cleared(broken, spelledBytes(30), [](DcmItem& dataset) { claim(dataset, 0x6000, 16, 15); });
    EXPECT_EQ(result.cleared, 0U);
    EXPECT_THAT(result.problem, HasSubstr("contradict"));
    EXPECT_EQ(left, spelledBytes(30));
}

TEST(OverlayBits, ClearsAlsoWhatIsThereOfShortPixels) {
    const auto [result, left] =
        cleared(kTwelveBits, std::vector<Uint8>(4, 0xFF), [](DcmItem& dataset) { claim(dataset, 0x6000, 16, 15); });
    EXPECT_EQ(result.cleared, 0x8000U);
    EXPECT_EQ(left, (std::vector<Uint8>{0xFF, 0x7F, 0xFF, 0x7F}));
}

TEST(OverlayBits, CannotTellForCompressedPixels) {
    DcmFileFormat file;
    fillPicture(file, kTwelveBits, spelledBytes(30));
    claim(*file.getDataset(), 0x6000, 16, 15);
    putFragments(*file.getDataset(), EXS_JPEG2000LosslessOnly, {"abcd"});
    const OverlayBits result = clearOverlayBits(*file.getDataset());
    EXPECT_EQ(result.cleared, 0U);
    EXPECT_THAT(result.problem, HasSubstr("compressed"));
}
