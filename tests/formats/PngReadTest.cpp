#include "formats/pictures/Png.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/PictureFiles.h"

using namespace radvex::formats;
using namespace radvex::test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

velmora::Image readBytes(const std::string& bytes) { return readPng("a.png", spanOf(bytes)); }

std::string refusalOfBytes(const std::string& bytes) {
    return refusalOf([&] { readBytes(bytes); });
}

template <typename T>
std::vector<int> samples(const velmora::Image& image) {
    const auto data = image.data<T>();
    return {data.begin(), data.end()};
}

const PngSource kGrey{.columns = 3, .rows = 2, .data = std::string("\x00\x01\x02\x0A\x0B\xFF", 6)};

} // namespace

TEST(PngRead, KeepsGreyOfEightBits) {
    const auto image = readBytes(pngFile(kGrey));
    EXPECT_EQ(image.info().type, VImage_U8);
    EXPECT_EQ(image.info().rank, 2);
    EXPECT_EQ(image.info().rows, 2);
    EXPECT_EQ(image.info().columns, 3);
    EXPECT_EQ(image.info().channels, 1);
    EXPECT_THAT(samples<std::uint8_t>(image), ElementsAre(0, 1, 2, 10, 11, 255));
}

TEST(PngRead, KeepsGreyOfSixteenBits) {
    const auto image =
        readBytes(pngFile({.columns = 2, .rows = 1, .bits = 16, .data = std::string("\x01\x02\xFF\xFE", 4)}));
    EXPECT_EQ(image.info().type, VImage_U16);
    EXPECT_THAT(samples<std::uint16_t>(image), ElementsAre(0x0102, 0xFFFE));
}

TEST(PngRead, KeepsColourInterleaved) {
    const auto image = readBytes(pngFile({.columns = 2,
                                          .rows = 1,
                                          .colorType = PNG_COLOR_TYPE_RGB,
                                          .data = std::string("\x01\x02\x03\x04\x05\x06", 6)}));
    EXPECT_EQ(image.info().channels, 3);
    EXPECT_EQ(image.info().colorSpace, VColorSpace_RGB);
    EXPECT_TRUE(image.info().interleaved);
    EXPECT_THAT(samples<std::uint8_t>(image), ElementsAre(1, 2, 3, 4, 5, 6));
    const auto deep = readBytes(
        pngFile({.bits = 16, .colorType = PNG_COLOR_TYPE_RGB, .data = std::string("\x00\x01\x00\x02\xFF\x03", 6)}));
    EXPECT_EQ(deep.info().type, VImage_U16);
    EXPECT_THAT(samples<std::uint16_t>(deep), ElementsAre(1, 2, 0xFF03));
}

TEST(PngRead, OneBitOfGreyIsABitImage) {
    const auto image =
        readBytes(pngFile({.columns = 10, .rows = 2, .bits = 1, .data = std::string("\xA0\x40\x01\x80", 4)}));
    EXPECT_EQ(image.info().type, VImage_Bit);
    EXPECT_THAT(samples<std::int8_t>(image), ElementsAre(1, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0));
}

TEST(PngRead, TwoAndFourBitsAreSpreadOverEight) {
    EXPECT_THAT(samples<std::uint8_t>(readBytes(pngFile({.columns = 4, .bits = 2, .data = "\x1B"}))),
                ElementsAre(0, 85, 170, 255));
    EXPECT_THAT(samples<std::uint8_t>(readBytes(pngFile({.columns = 2, .bits = 4, .data = "\x1F"}))),
                ElementsAre(17, 255));
}

TEST(PngRead, APaletteBecomesColour) {
    const auto image = readBytes(pngFile({.columns = 2,
                                          .bits = 1,
                                          .colorType = PNG_COLOR_TYPE_PALETTE,
                                          .data = "\x40",
                                          .palette = {{1, 2, 3}, {4, 5, 6}}}));
    EXPECT_EQ(image.info().channels, 3);
    EXPECT_THAT(samples<std::uint8_t>(image), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(PngRead, OpaqueAlphaIsLeftOut) {
    const auto colour = readBytes(pngFile(
        {.columns = 2, .colorType = PNG_COLOR_TYPE_RGBA, .data = std::string("\x01\x02\x03\xFF\x04\x05\x06\xFF", 8)}));
    EXPECT_THAT(samples<std::uint8_t>(colour), ElementsAre(1, 2, 3, 4, 5, 6));
    const auto grey = readBytes(pngFile({.columns = 2,
                                         .bits = 16,
                                         .colorType = PNG_COLOR_TYPE_GRAY_ALPHA,
                                         .data = std::string("\x01\x02\xFF\xFF\x03\x04\xFF\xFF", 8)}));
    EXPECT_EQ(grey.info().channels, 1);
    EXPECT_THAT(samples<std::uint16_t>(grey), ElementsAre(0x0102, 0x0304));
    EXPECT_EQ(refusalOfBytes(pngFile({.columns = 2,
                                      .colorType = PNG_COLOR_TYPE_PALETTE,
                                      .data = std::string("\x01\x01", 2),
                                      .palette = {{1, 2, 3}, {4, 5, 6}},
                                      .alpha = std::string("\x00\xFF", 2)})),
              "")
        << "the transparent colour is not used";
}

TEST(PngRead, TransparentPixelsAreRefused) {
    const std::string sentence =
        "a.png has transparent pixels, which a DICOM image cannot have: put the picture on a background.";
    EXPECT_EQ(refusalOfBytes(pngFile({.columns = 2,
                                      .colorType = PNG_COLOR_TYPE_RGBA,
                                      .data = std::string("\x01\x02\x03\xFF\x04\x05\x06\xFE", 8)})),
              sentence);
    EXPECT_EQ(refusalOfBytes(pngFile(
                  {.bits = 16, .colorType = PNG_COLOR_TYPE_GRAY_ALPHA, .data = std::string("\x01\x02\xFF\xFE", 4)})),
              sentence);
    EXPECT_EQ(refusalOfBytes(pngFile({.columns = 2,
                                      .colorType = PNG_COLOR_TYPE_PALETTE,
                                      .data = std::string("\x00\x01", 2),
                                      .palette = {{1, 2, 3}, {4, 5, 6}},
                                      .alpha = std::string("\x80", 1)})),
              sentence);
}

TEST(PngRead, InterlacedFilesAreReadAsTheyAre) {
    PngSource source{.columns = 9, .rows = 10, .data = ""};
    for (int index = 0; index < 90; ++index) {
        source.data += static_cast<char>(index);
    }
    const auto plain = samples<std::uint8_t>(readBytes(pngFile(source)));
    source.isInterlaced = true;
    EXPECT_EQ(samples<std::uint8_t>(readBytes(pngFile(source))), plain);
    EXPECT_EQ(plain[9 * 7 + 4], 67);
}

TEST(PngRead, AShortFileCannotPromiseALargePicture) {
    const std::string file = pngFile(kGrey);
    EXPECT_EQ(refusalOfBytes(withPngSize(file, 3, 2)), "") << "the checksum is right";
    EXPECT_EQ(refusalOfBytes(withPngSize(file, 65535, 65535)),
              "a.png is a damaged PNG: it is too short for the picture that its header announces.");
    EXPECT_EQ(refusalOfBytes(withPngSize(file, 0x7FFFFFFF, 0x7FFFFFFF)),
              "a.png is a damaged PNG: it is too short for the picture that its header announces.");
    EXPECT_THAT(refusalOfBytes(withPngSize(file, 0, 5)), HasSubstr("a.png is a damaged PNG: "));
    EXPECT_THAT(refusalOfBytes(withPngSize(file, 30, 20)), HasSubstr("a.png is a damaged PNG: "));
}

TEST(PngRead, MoreRowsThanDicomCountsAreRefused) {
    const PngSource tall{.columns = 1, .rows = 65536, .data = std::string(65536, 'x')};
    EXPECT_EQ(refusalOfBytes(pngFile(tall)),
              "a.png has 65536 rows and 1 columns; a DICOM image has at most 65535 of each.");
}

TEST(PngRead, EveryCutOfAFileIsRefused) {
    for (const bool isInterlaced : {false, true}) {
        PngSource source = kGrey;
        source.isInterlaced = isInterlaced;
        const std::string file = pngFile(source);
        for (std::size_t length = 8; length < file.size(); ++length) {
            EXPECT_THAT(refusalOfBytes(file.substr(0, length)), HasSubstr("a.png is a damaged PNG: ")) << length;
        }
    }
}

TEST(PngRead, EveryChangedByteGivesAPictureOrARefusal) {
    const std::string file = pngFile({.columns = 2,
                                      .rows = 2,
                                      .colorType = PNG_COLOR_TYPE_PALETTE,
                                      .data = std::string("\x00\x01\x01\x00", 4),
                                      .palette = {{1, 2, 3}, {4, 5, 6}},
                                      .alpha = std::string("\xFF", 1)});
    ASSERT_EQ(refusalOfBytes(file), "");
    int refused = 0;
    for (std::size_t index = 8; index < file.size(); ++index) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string changed = file;
            changed[index] = static_cast<char>(changed[index] ^ (1 << bit));
            refused += refusalOfBytes(changed).empty() ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 400);
}

TEST(PngRead, APictureMayEndInWhatIsNoPng) { EXPECT_EQ(refusalOfBytes(pngFile(kGrey) + "more"), ""); }
