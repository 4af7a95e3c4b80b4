#include "deidentify/pixels/Masking.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "deidentify/pixels/OverlayBits.h"
#include "tests/deidentify/PixelPictures.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using namespace radvex::test;
using testing::HasSubstr;

namespace {

/// Two columns from the third on, of rows 1 to 3.
const std::string kRectangle = R"("rectangles": [[2, 1, 2, 3]])";
bool isInside(int row, int column) { return column >= 2 && column < 4 && row >= 1 && row < 4; }

using InPlace = std::function<void(std::vector<Uint8>& bytes, int frame, int row, int column)>;

/// Calls `change` for every pixel inside the rectangle, in every frame.
std::vector<Uint8> changed(std::vector<Uint8> bytes, const Picture& picture, const InPlace& change) {
    for (int frame = 0; frame < picture.frames; ++frame) {
        for (int row = 0; row < picture.rows; ++row) {
            for (int column = 0; column < picture.columns; ++column) {
                if (isInside(row, column)) {
                    change(bytes, frame, row, column);
                }
            }
        }
    }
    return bytes;
}

std::size_t pixelAt(const Picture& picture, int frame, int row, int column) {
    return static_cast<std::size_t>((frame * picture.rows + row) * picture.columns + column);
}

} // namespace

TEST(Masking, BlanksBytesInAllFramesAndNothingElse) {
    const Picture picture{.frames = 3};
    const auto bytes = spelledBytes(3 * 40);
    const auto wanted = changed(bytes, picture, [&](auto& all, int frame, int row, int column) {
        all[pixelAt(picture, frame, row, column)] = 0;
    });
    EXPECT_EQ(masked(picture, bytes, kRectangle), wanted);
}

TEST(Masking, AnOddNumberOfBytesKeepsItsPadding) {
    const Picture picture{.rows = 5, .columns = 7};
    const auto result = masked(picture, spelledBytes(35), kRectangle);
    ASSERT_EQ(result.size(), 36U);
    EXPECT_EQ(result[34], spelledBytes(35)[34]);
}

TEST(Masking, ChangesOnlyTheBitsOfTheStoredValue) {
    // 10 bits of 16, from bit 2 on; the other six hold what they held.
    const Picture picture{.frames = 2, .allocated = 16, .stored = 10, .high = 11};
    const auto bytes = spelledBytes(2 * 80);
    const auto wanted = changed(bytes, picture, [&](auto& all, int frame, int row, int column) {
        const std::size_t at = 2 * pixelAt(picture, frame, row, column);
        all[at] = all[at] & 0x03;
        all[at + 1] = all[at + 1] & 0xF0;
    });
    EXPECT_EQ(masked(picture, bytes, kRectangle), wanted);
}

TEST(Masking, BlackIsTheEndOfTheScaleThatIsShownBlack) {
    struct Case {
        Picture picture;
        std::uint16_t black;
    };
    const Case cases[] = {
        {{.allocated = 16, .stored = 12, .high = 11, .isSigned = true}, 0x0800}, // -2048 in 12 bits
        {{.allocated = 16, .stored = 16, .high = 15, .isSigned = true}, 0x8000},
        {{.allocated = 16, .stored = 12, .high = 11, .model = "MONOCHROME1"}, 0x0FFF},
        {{.allocated = 16, .stored = 12, .high = 11, .isSigned = true, .model = "MONOCHROME1"}, 0x07FF}};
    for (const Case& entry : cases) { // clang 14 captures no structured bindings
        const Picture& picture = entry.picture;
        const unsigned stored = picture.stored == 16 ? 0xFFFFU : 0x0FFFU;
        const auto bytes = spelledBytes(80);
        const Uint16 value = entry.black;
        const auto wanted = changed(bytes, picture, [&](auto& all, int frame, int row, int column) {
            const std::size_t at = 2 * pixelAt(picture, frame, row, column);
            const unsigned word = all[at] + 256U * all[at + 1];
            const unsigned blanked = (word & ~stored & 0xFFFFU) | value;
            all[at] = static_cast<Uint8>(blanked & 0xFF);
            all[at + 1] = static_cast<Uint8>(blanked >> 8);
        });
        EXPECT_EQ(masked(picture, bytes, kRectangle), wanted) << picture.model << picture.stored;
    }
}

TEST(Masking, LongWordsAndSingleBitsLieWhereTheyShould) {
    const Picture words{.allocated = 32, .stored = 32, .high = 31};
    const auto bytes = spelledBytes(160);
    const auto wanted = changed(bytes, words, [&](auto& all, int frame, int row, int column) {
        std::memset(all.data() + 4 * pixelAt(words, frame, row, column), 0, 4);
    });
    EXPECT_EQ(masked(words, bytes, kRectangle), wanted);

    // 35 bits of a frame: the second frame begins inside a byte.
    const Picture bits{.rows = 5, .columns = 7, .frames = 2, .allocated = 1, .stored = 1, .high = 0};
    std::vector<Uint8> all(10, 0xFF);
    all[8] = 0x3F; // 70 bits
    all[9] = 0;
    const auto blanked = changed(all, bits, [&](auto& octets, int frame, int row, int column) {
        const std::size_t bit = pixelAt(bits, frame, row, column);
        octets[bit / 8] = static_cast<Uint8>(octets[bit / 8] & ~(1U << (bit % 8)));
    });
    EXPECT_EQ(masked(bits, all, kRectangle), blanked);
}

TEST(Masking, ColoursAreBlackByPixelAndByPlane) {
    for (const int planar : {0, 1}) {
        const Picture picture{.frames = 2, .samples = 3, .planar = planar, .model = "RGB"};
        const auto bytes = spelledBytes(2 * 120);
        const auto wanted = changed(bytes, picture, [&](auto& all, int frame, int row, int column) {
            for (std::size_t sample = 0; sample < 3; ++sample) {
                const auto place = static_cast<std::size_t>(row * 8 + column);
                const auto start = static_cast<std::size_t>(frame) * 120;
                all[start + (planar == 0 ? place * 3 + sample : sample * 40 + place)] = 0;
            }
        });
        EXPECT_EQ(masked(picture, bytes, kRectangle), wanted) << planar;
    }
}

TEST(Masking, LuminanceIsBlackWithoutAColour) {
    for (const int planar : {0, 1}) {
        const Picture picture{.samples = 3, .planar = planar, .model = "YBR_FULL"};
        const auto wanted = changed(spelledBytes(120), picture, [&](auto& all, int, int row, int column) {
            const Uint8 black[] = {0, 128, 128};
            for (std::size_t sample = 0; sample < 3; ++sample) {
                const auto place = static_cast<std::size_t>(row * 8 + column);
                all[planar == 0 ? place * 3 + sample : sample * 40 + place] = black[sample];
            }
        });
        EXPECT_EQ(masked(picture, spelledBytes(120), kRectangle), wanted) << planar;
    }
}

TEST(Masking, PixelsThatShareTheirColourAreBlankedInPairs) {
    const Picture picture{.samples = 3, .planar = 0, .model = "YBR_FULL_422"};
    const auto bytes = spelledBytes(80); // Y Y B R for two pixels
    std::vector<Uint8> wanted = bytes;
    // Columns 3 and 4 are halves of the pairs 2, 3 and 4, 5.
    for (const std::size_t pair : {2U, 4U}) {
        const std::size_t at = (2 * 8 + pair) * 2;
        wanted[at] = wanted[at + 1] = 0;
        wanted[at + 2] = wanted[at + 3] = 128;
    }
    EXPECT_EQ(masked(picture, bytes, R"("rectangles": [[3, 2, 2, 1]])"), wanted);
}

TEST(Masking, APaletteGivesItsDarkestEntry) {
    const Picture picture{.model = "PALETTE COLOR"};
    const auto palette = [](DcmItem& dataset) {
        const Uint16 descriptor[] = {4, 10, 16};
        // Brightness: 0.299 * 100, 0.587 * 100, 0.114 * 100, 0.299 * 200: the third entry, for the stored value 12.
        const Uint16 red[] = {100, 0, 0, 200};
        const Uint16 green[] = {0, 100, 0, 0};
        const Uint16 blue[] = {0, 0, 100, 0};
        for (const auto& key : {DCM_RedPaletteColorLookupTableDescriptor, DCM_GreenPaletteColorLookupTableDescriptor,
                                DCM_BluePaletteColorLookupTableDescriptor}) {
            dataset.putAndInsertUint16Array(DcmTag(key, EVR_US), descriptor, 3);
        }
        dataset.putAndInsertUint16Array(DcmTag(DCM_RedPaletteColorLookupTableData, EVR_OW), red, 4);
        dataset.putAndInsertUint16Array(DcmTag(DCM_GreenPaletteColorLookupTableData, EVR_OW), green, 4);
        dataset.putAndInsertUint16Array(DcmTag(DCM_BluePaletteColorLookupTableData, EVR_OW), blue, 4);
    };
    const auto wanted = changed(spelledBytes(40), picture, [&](auto& all, int frame, int row, int column) {
        all[pixelAt(picture, frame, row, column)] = 12;
    });
    EXPECT_EQ(masked(picture, spelledBytes(40), kRectangle, palette), wanted);
    EXPECT_THAT(refusal(picture, 40, kRectangle), HasSubstr("palette"));
    EXPECT_EQ(refusal(picture, 40, kRectangle + R"(, "fill": 3)"), "");
}

TEST(Masking, APaletteShorterThanItSaysIsNotRead) {
    const auto palette = [](DcmItem& dataset) {
        const Uint16 descriptor[] = {0, 0, 16}; // 65536 entries
        const Uint16 values[] = {1, 2};
        for (const auto& [key, data] :
             {std::pair(DCM_RedPaletteColorLookupTableDescriptor, DCM_RedPaletteColorLookupTableData),
              std::pair(DCM_GreenPaletteColorLookupTableDescriptor, DCM_GreenPaletteColorLookupTableData),
              std::pair(DCM_BluePaletteColorLookupTableDescriptor, DCM_BluePaletteColorLookupTableData)}) {
            dataset.putAndInsertUint16Array(DcmTag(key, EVR_US), descriptor, 3);
            dataset.putAndInsertUint16Array(DcmTag(data, EVR_OW), values, 2);
        }
    };
    EXPECT_THAT(refusal({.model = "PALETTE COLOR"}, 40, kRectangle, palette), HasSubstr("palette"));
}

TEST(Masking, FloatingPointPixelsBecomeZero) {
    const Picture picture{.rows = 2, .columns = 3, .allocated = 32, .stored = 32, .high = 31};
    DcmFileFormat file;
    fillPicture(file, picture, spelledBytes(24));
    DcmDataset& dataset = *file.getDataset();
    delete dataset.remove(DCM_PixelData);
    const Float32 values[] = {1.5F, 2.5F, 3.5F, 4.5F, 5.5F, 6.5F};
    dataset.putAndInsertFloat32Array(DCM_FloatPixelData, values, 6);
    ASSERT_TRUE(mask(file, rulesOf(R"("rectangles": [[1, 0, 5, 1]])")));
    const Float32* read = nullptr;
    ASSERT_TRUE(dataset.findAndGetFloat32Array(DCM_FloatPixelData, read).good());
    EXPECT_THAT(std::vector<Float32>(read, read + 6), testing::ElementsAre(1.5F, 0.0F, 0.0F, 4.5F, 5.5F, 6.5F));
}

TEST(Masking, DoublesTakeTheFillOfTheRule) {
    const Picture picture{.rows = 2, .columns = 1, .allocated = 64, .stored = 64, .high = 63};
    DcmFileFormat file;
    fillPicture(file, picture, spelledBytes(16));
    DcmDataset& dataset = *file.getDataset();
    delete dataset.remove(DCM_PixelData);
    const Float64 values[] = {1.5, 2.5};
    dataset.putAndInsertFloat64Array(DCM_DoubleFloatPixelData, values, 2);
    ASSERT_TRUE(mask(file, rulesOf(R"("rectangles": [[0, 1, 1, 1]], "fill": -0.25)")));
    const Float64* read = nullptr;
    ASSERT_TRUE(dataset.findAndGetFloat64Array(DCM_DoubleFloatPixelData, read).good());
    EXPECT_EQ(read[0], 1.5);
    EXPECT_EQ(read[1], -0.25);
}

TEST(Masking, AFillIsAStoredValueAndNoOther) {
    const Picture twelve{.allocated = 16, .stored = 12, .high = 11};
    const auto bytes = std::vector<Uint8>(80, 0);
    const auto wanted = changed(bytes, twelve, [&](auto& all, int frame, int row, int column) {
        const std::size_t at = 2 * pixelAt(twelve, frame, row, column);
        all[at] = 0xD2; // 1234 = 0x4D2
        all[at + 1] = 0x04;
    });
    EXPECT_EQ(masked(twelve, bytes, kRectangle + R"(, "fill": 1234)"), wanted);
    EXPECT_THAT(refusal(twelve, 80, kRectangle + R"(, "fill": 4096)"), HasSubstr("12 bits"));
    EXPECT_THAT(refusal(twelve, 80, kRectangle + R"(, "fill": -1)"), HasSubstr("12 bits"));
    EXPECT_THAT(refusal(twelve, 80, kRectangle + R"(, "fill": 0.5)"), HasSubstr("12 bits"));
    EXPECT_THAT(refusal(twelve, 80, kRectangle + R"(, "fill": 1e300)"), HasSubstr("12 bits"));
}

TEST(Masking, PixelsThatAreNotAllThereAreAnError) {
    const auto with = [](const DcmTagKey& key, const char* value) {
        return [key, value](DcmDataset& dataset) { dataset.putAndInsertString(key, value); };
    };
    EXPECT_THAT(refusal({}, 38, kRectangle), HasSubstr("fewer than its attributes say"));
    for (const char* frames : {"2", "2147483647", "18446744073709551615"}) {
        EXPECT_THAT(refusal({}, 40, kRectangle, with(DCM_NumberOfFrames, frames)), HasSubstr("fewer than")) << frames;
    }
    for (const char* frames : {"0", "-1", "x", "99999999999999999999"}) {
        EXPECT_THAT(refusal({}, 40, kRectangle, with(DCM_NumberOfFrames, frames)), HasSubstr("number of frames"))
            << frames;
    }
    EXPECT_THAT(refusal({.rows = 65535, .columns = 65535, .allocated = 32, .stored = 32, .high = 31}, 40, kRectangle),
                HasSubstr("fewer than"));
    // 2^35 bits of a frame times 2^29 is 2^64.
    EXPECT_THAT(refusal({.rows = 32768, .columns = 32768, .allocated = 32, .stored = 32, .high = 31}, 40, kRectangle,
                        with(DCM_NumberOfFrames, "536870912")),
                HasSubstr("fewer than"));
    EXPECT_THAT(refusal({.rows = 0}, 40, kRectangle), HasSubstr("no rows"));
}

TEST(Masking, AttributesThatContradictEachOtherAreAnError) {
    EXPECT_THAT(refusal({.stored = 9}, 40, kRectangle), HasSubstr("contradict"));
    EXPECT_THAT(refusal({.stored = 0}, 40, kRectangle), HasSubstr("contradict"));
    EXPECT_THAT(refusal({.high = 8}, 40, kRectangle), HasSubstr("contradict"));
    EXPECT_THAT(refusal({.high = 6}, 40, kRectangle), HasSubstr("contradict"));
    EXPECT_THAT(refusal({.samples = 3}, 120, kRectangle), HasSubstr("contradict"));
    EXPECT_THAT(refusal({.allocated = 12, .stored = 12, .high = 11}, 60, kRectangle), HasSubstr("12 bits"));
    EXPECT_THAT(refusal({.samples = 4, .model = "CMYK"}, 160, kRectangle), HasSubstr("PhotometricInterpretation"));
    EXPECT_THAT(refusal({.columns = 7, .samples = 3, .model = "YBR_FULL_422"}, 70, kRectangle), HasSubstr("pairs"));
}

TEST(Masking, PixelsOfSeveralKindsAreAnError) {
    EXPECT_THAT(refusal({}, 40, kRectangle,
                        [](DcmItem& dataset) {
                            const Float32 value = 1.0F;
                            dataset.putAndInsertFloat32Array(DCM_FloatPixelData, &value, 1);
                        }),
                HasSubstr("several kinds"));
}

TEST(Masking, WhatFollowsTheLastFrameIsCleared) {
    const auto result = masked({}, spelledBytes(60), kRectangle); // half a frame more
    ASSERT_EQ(result.size(), 60U);
    EXPECT_EQ(std::vector<Uint8>(result.begin() + 40, result.end()), std::vector<Uint8>(20, 0));
}

TEST(Masking, OverlaysInThePixelWordsAreBlankedToo) {
    const Picture picture{.allocated = 16, .stored = 12, .high = 11};
    const std::vector<Uint8> bytes(80, 0xFF);
    const auto wanted = changed(bytes, picture, [&](auto& all, int frame, int row, int column) {
        const std::size_t at = 2 * pixelAt(picture, frame, row, column);
        all[at] = 0;
        all[at + 1] = 0xB0; // without the stored value and bit 14
    });
    EXPECT_EQ(masked(picture, bytes, kRectangle,
                     [](DcmItem& dataset) {
                         dataset.putAndInsertUint16(DcmTag(0x6000, 0x0100, EVR_US), 16);
                         dataset.putAndInsertUint16(DcmTag(0x6000, 0x0102, EVR_US), 14);
                     }),
              wanted);
}

TEST(Masking, RemovesIconsAndSaysNoOnlyForTheUser) {
    for (const bool claims : {false, true}) {
        DcmFileFormat file;
        fillPicture(file, {}, spelledBytes(40));
        DcmDataset& dataset = *file.getDataset();
        dataset.putAndInsertString(DCM_BurnedInAnnotation, "YES");
        addItem(dataset, DCM_IconImageSequence);
        addItem(addItem(dataset, DCM_ReferencedImageSequence), DCM_IconImageSequence);
        ASSERT_TRUE(mask(file, rulesOf(kRectangle + (claims ? R"(, "burnedIn": "NO")" : ""))));
        EXPECT_EQ(textOf(dataset, DCM_BurnedInAnnotation), claims ? "NO" : "YES");
        EXPECT_EQ(dataset.tagExists(DCM_IconImageSequence, OFTrue), OFFalse);
    }
}

TEST(Masking, LeavesFilesAloneThatNoRuleMatchesOrThatHaveNoPixels) {
    DcmFileFormat file;
    fillPicture(file, {}, spelledBytes(40));
    addItem(*file.getDataset(), DCM_IconImageSequence);
    EXPECT_FALSE(mask(file, rulesOf(R"("match": {"Modality": "CT"}, )" + kRectangle)));
    EXPECT_EQ(pixelBytes(*file.getDataset()), spelledBytes(40));
    EXPECT_TRUE(file.getDataset()->tagExists(DCM_IconImageSequence));
    delete file.getDataset()->remove(DCM_PixelData);
    EXPECT_FALSE(mask(file, rulesOf(kRectangle)));
    EXPECT_TRUE(file.getDataset()->tagExists(DCM_IconImageSequence));
}

TEST(Masking, SurvivesAnyAttributes) {
    // Sizes that fit, sizes that nearly fit and nonsense: either the mask is refused, or the value keeps its length.
    std::mt19937 random(20);
    const auto oneOf = [&](std::initializer_list<int> values) { return values.begin()[random() % values.size()]; };
    const char* const models[] = {"MONOCHROME1", "MONOCHROME2", "RGB", "YBR_FULL", "YBR_FULL_422", "PALETTE COLOR"};
    int done = 0;
    for (int round = 0; round < 3000; ++round) {
        const Picture picture{.rows = oneOf({1, 3, 5, 8, 65535}),
                              .columns = oneOf({1, 2, 7, 8, 65535}),
                              .frames = oneOf({1, 1, 1, 2, 2147483647}),
                              .samples = oneOf({1, 1, 3, 3, 4}),
                              .allocated = oneOf({1, 8, 8, 8, 16, 32}),
                              .stored = oneOf({1, 1, 8, 8, 12}),
                              .high = oneOf({0, 7, 7, 11, 31}),
                              .isSigned = oneOf({0, 1}) == 1,
                              .planar = oneOf({-1, 0, 1, 2}),
                              .model = models[random() % std::size(models)]};
        DcmFileFormat file;
        fillPicture(file, picture, spelledBytes(random() % 600 + 1));
        DcmDataset& dataset = *file.getDataset();
        const std::size_t length = pixelBytes(dataset).size();
        putOverlay(dataset, 0x6000,
                   {.rows = oneOf({1, 4, 9}),
                    .columns = oneOf({1, 4, 9}),
                    .bits = 0xFFFF,
                    .origin = {static_cast<Sint16>(oneOf({-32768, 0, 1, 32767})),
                               static_cast<Sint16>(oneOf({-32768, 0, 1, 32767}))}});
        dataset.putAndInsertUint16(DcmTag(0x6002, 0x0102, EVR_US), static_cast<Uint16>(oneOf({0, 9, 15, 63, 65535})));
        putRegion(dataset, 1, static_cast<Uint32>(oneOf({0, 1, 3})), static_cast<Uint32>(oneOf({0, 2, 9, -1})),
                  static_cast<Uint32>(oneOf({0, 4, -1})));
        const std::string rule =
            oneOf({0, 1}) == 1 ? R"("outsideRegions": true)" : R"("rectangles": [[-9, -3, 12, 2]])";
        done += refusalOf(file, rule).empty() ? 1 : 0;
        EXPECT_EQ(pixelBytes(dataset).size(), length);
        (void)clearOverlayBits(dataset);
    }
    EXPECT_GT(done, 50) << "or nothing was tried";
}
