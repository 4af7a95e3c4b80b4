#include "volume/preview/ContactSheet.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace radvex::volume;
using radvex::formats::Picture;

namespace {

Picture greyPicture(int rows, int columns, int bits, std::vector<std::uint16_t> samples) {
    return {rows, columns, 1, bits, std::move(samples)};
}

int redAt(const SheetTile& tile, int row, int column) {
    return static_cast<unsigned char>(tile.rgb[static_cast<std::size_t>((row * tile.columns + column) * 3)]);
}

EdgeLetters lettersOf(const char* orientation) { return edgeLettersOf(*orientationOf(orientation)); }

std::string textOf(const EdgeLetters& letters) {
    return letters.left + ' ' + letters.right + ' ' + letters.top + ' ' + letters.bottom;
}

} // namespace

TEST(ContactSheet, LettersSayWhereTheEdgesPointTo) {
    // x grows to the left of the patient, y to the back, z to the head (PS3.3 C.7.6.2.1.1).
    EXPECT_EQ(textOf(lettersOf("1\\0\\0\\0\\1\\0")), "R L A P") << "axial";
    EXPECT_EQ(textOf(lettersOf("1\\0\\0\\0\\0\\-1")), "R L H F") << "coronal";
    EXPECT_EQ(textOf(lettersOf("0\\1\\0\\0\\0\\-1")), "A P H F") << "sagittal";
    EXPECT_EQ(textOf(lettersOf("-1\\0\\0\\0\\-1\\0")), "L R P A") << "a patient on the belly";
    EXPECT_EQ(textOf(lettersOf("0.8\\0.6\\0\\-0.6\\0.8\\0")), "RA LP AL PR") << "turned by 37 degrees";
}

TEST(ContactSheet, PatientOrientationGivesLettersWithoutASpace) {
    EXPECT_EQ(textOf(edgeLettersOf("A\\F")), "P A H F");
    EXPECT_EQ(textOf(edgeLettersOf("AR\\FL ")), "PL AR HR FL");
    for (const char* const unknown : {"", "A", "A\\", "A\\X", "LE\\RT", "A\\F\\L", "AAAAAAA\\F"}) {
        EXPECT_EQ(textOf(edgeLettersOf(unknown)), "   ") << unknown;
    }
}

TEST(ContactSheet, ATileHoldsMeansOfWhatItsPixelsCover) {
    std::vector<std::uint16_t> samples(384 * 384);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        samples[index] = index % 2 == 0 ? 0 : 65535; // columns of black and white
    }
    const SheetTile tile = tileOf(greyPicture(384, 384, 16, samples), {});
    EXPECT_EQ(tile.rows, kTileSide);
    EXPECT_EQ(tile.columns, kTileSide);
    EXPECT_EQ(redAt(tile, 0, 0), 128); // half of 255, rounded
    EXPECT_EQ(redAt(tile, 191, 191), 128);
}

TEST(ContactSheet, ALittlePictureBecomesAsLargeAsItsTile) {
    const SheetTile tile = tileOf(greyPicture(1, 2, 1, {0, 1}), {});
    EXPECT_EQ(tile.rows, 96);
    EXPECT_EQ(tile.columns, 192);
    EXPECT_EQ(redAt(tile, 50, 95), 0);
    EXPECT_EQ(redAt(tile, 50, 96), 255);
}

TEST(ContactSheet, PixelsThatAreNotSquareKeepTheirShape) {
    SliceRecord slice;
    slice.pixelSpacing = PixelSpacing{.betweenRows = 2, .betweenColumns = 1};
    const SheetTile tile = tileOf(greyPicture(2, 2, 8, {0, 1, 2, 3}), slice);
    EXPECT_EQ(tile.rows, 192);
    EXPECT_EQ(tile.columns, 96);
    slice.pixelSpacing = PixelSpacing{.betweenRows = 1e6, .betweenColumns = 1e-6};
    EXPECT_EQ(tileOf(greyPicture(2, 2, 8, {0, 1, 2, 3}), slice).columns, 38) << "a fifth, and not nothing";
    EXPECT_EQ(tileOf(greyPicture(1, 60000, 8, std::vector<std::uint16_t>(60000)), {}).rows, 1);
}

TEST(ContactSheet, ASheetHasItsTilesRowByRow) {
    const SheetTile white = tileOf(greyPicture(1, 1, 8, {255}), {});
    const SheetTile black = tileOf(greyPicture(1, 1, 8, {0}), {});
    const std::vector<SheetTile> tiles{white, black, black, white, white};
    const Picture sheet = sheetOf(tiles, 1);
    EXPECT_EQ(sheet.columns, 3 * kTileSide);
    EXPECT_EQ(sheet.rows, 2 * kTileSide);
    const auto redOf = [&](int row, int column) {
        return sheet.samples[sheet.indexOf(row * kTileSide + 60, column * kTileSide + 60, 0)];
    };
    EXPECT_EQ(redOf(0, 0), 255);
    EXPECT_EQ(redOf(0, 1), 0);
    EXPECT_EQ(redOf(0, 2), 0);
    EXPECT_EQ(redOf(1, 0), 255);
    EXPECT_EQ(redOf(1, 1), 255);
    EXPECT_EQ(redOf(1, 2), 32) << "the background";
}

TEST(ContactSheet, NumbersAndLettersAreDrawnIntoTheTile) {
    SliceRecord slice;
    slice.orientation = orientationOf("1\\0\\0\\0\\1\\0");
    const SheetTile tile = tileOf(greyPicture(1, 1, 8, {0}), slice);
    const auto drawn = [&](const Picture& sheet, int row, int column) { // within a small square
        for (int y = row; y < row + 20; ++y) {
            for (int x = column; x < column + 20; ++x) {
                if (sheet.samples[sheet.indexOf(y, x, 0)] > 100) {
                    return true;
                }
            }
        }
        return false;
    };
    const std::vector<SheetTile> tiles{tile};
    const Picture one = sheetOf(tiles, 1);
    EXPECT_TRUE(drawn(one, 0, 0)) << "the number";
    EXPECT_TRUE(drawn(one, 86, 0)) << "R";
    EXPECT_TRUE(drawn(one, 86, 172)) << "L";
    EXPECT_TRUE(drawn(one, 0, 86)) << "A";
    EXPECT_TRUE(drawn(one, 172, 86)) << "P";
    EXPECT_FALSE(drawn(one, 86, 86)) << "nothing over the middle";
    EXPECT_NE(one.samples, sheetOf(tiles, 2).samples) << "another number";
}
