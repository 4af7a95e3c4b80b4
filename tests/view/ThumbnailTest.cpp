#include "view/Thumbnail.h"

#include <gtest/gtest.h>

#include <numeric>

using radvex::formats::Picture;
using radvex::view::thumbnailOf;

TEST(Thumbnail, IsThePictureItselfWhenThatIsSmall) {
    const Picture picture{.rows = 2, .columns = 3, .samples = {1, 2, 3, 4, 5, 6}};
    EXPECT_EQ(thumbnailOf(picture, 3).samples, picture.samples);
}

TEST(Thumbnail, TakesTheMeanOfWhatAPixelStandsFor) {
    const Picture picture{.rows = 2, .columns = 4, .samples = {0, 10, 100, 200, 20, 30, 100, 201}};
    const Picture small = thumbnailOf(picture, 2);
    EXPECT_EQ(small.rows, 1);
    EXPECT_EQ(small.columns, 2);
    EXPECT_EQ(small.samples, (std::vector<std::uint16_t>{15, 150})); // 60 / 4, 601 / 4 rounded
}

TEST(Thumbnail, KeepsColoursApart) {
    const Picture picture{.rows = 1, .columns = 2, .channels = 3, .samples = {0, 100, 200, 20, 120, 220}};
    const Picture small = thumbnailOf(picture, 1);
    EXPECT_EQ(small.samples, (std::vector<std::uint16_t>{10, 110, 210}));
}

TEST(Thumbnail, ALongLineKeepsAPixelOfHeight) {
    Picture picture{.rows = 1, .columns = 1000, .samples = std::vector<std::uint16_t>(1000)};
    std::iota(picture.samples.begin(), picture.samples.end(), std::uint16_t{0});
    const Picture small = thumbnailOf(picture, 160);
    EXPECT_EQ(small.rows, 1);
    EXPECT_EQ(small.columns, 160);
    EXPECT_EQ(small.samples.size(), 160U);
    EXPECT_LT(small.samples.front(), 6);
    EXPECT_GT(small.samples.back(), 993);
}
