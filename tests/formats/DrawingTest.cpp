#include "formats/pictures/Drawing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace radvex::formats;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

constexpr Colour kBlack{0, 0, 0};
constexpr Colour kInk{10, 200, 30};

/// How many pixels are not black.
int inkOf(const Picture& picture) {
    int count = 0;
    for (std::size_t sample = 1; sample < picture.samples.size(); sample += 3) {
        count += picture.samples[sample] != 0 ? 1 : 0;
    }
    return count;
}

Picture drawn(std::string_view text, const Font& font = kRegularFont) {
    Picture picture = canvasOf(font.lineHeight, textWidth(text, font) + 1, kBlack);
    drawText(picture, 0, 0, text, font, kInk);
    return picture;
}

} // namespace

TEST(Drawing, FillsAndFramesPixelsOfTheArea) {
    Picture picture = canvasOf(6, 8, kBlack);
    fillRectangle(picture, {1, 2, 3, 2}, kInk);
    EXPECT_EQ(inkOf(picture), 6);
    EXPECT_EQ(picture.samples[picture.indexOf(3, 3, 0)], 10);
    EXPECT_EQ(picture.samples[picture.indexOf(3, 3, 1)], 200);
    EXPECT_EQ(picture.samples[picture.indexOf(3, 3, 2)], 30);
    Picture framed = canvasOf(6, 8, kBlack);
    frameRectangle(framed, {0, 0, 8, 6}, kInk);
    EXPECT_EQ(inkOf(framed), 8 * 6 - 6 * 4);
}

TEST(Drawing, WhatLiesOutsideIsLeftOut) {
    Picture picture = canvasOf(5, 5, kBlack);
    fillRectangle(picture, {-3, -3, 4, 4}, kInk);
    fillRectangle(picture, {20, 20, 4, 4}, kInk);
    EXPECT_EQ(inkOf(picture), 1);
    drawText(picture, -20, -8, "Radvex preview", kBoldFont, kInk);
    drawText(picture, 4, 3, "Radvex preview", kBoldFont, kInk);
}

TEST(Drawing, TextFillsItsLineAndNoMore) {
    const std::string text = "A/P \xC3\x84\xC3\xA9 \xCE\xA9 \xD0\x96 gjpqy|";
    for (const Font* font : {&kRegularFont, &kBoldFont}) {
        Picture picture = canvasOf(font->lineHeight + 40, textWidth(text, *font) + 40, kBlack);
        drawText(picture, 20, 20, text, *font, kInk);
        const int all = inkOf(picture);
        EXPECT_GT(all, 300);
        fillRectangle(picture, {19, 20, textWidth(text, *font) + 2, font->lineHeight}, kBlack);
        EXPECT_EQ(inkOf(picture), 0);
    }
}

TEST(Drawing, CharactersDifferAndSpacesAreEmpty) {
    EXPECT_EQ(inkOf(drawn("   ")), 0);
    EXPECT_NE(drawn("L").samples, drawn("R").samples);
    EXPECT_GT(inkOf(drawn("L", kBoldFont)), inkOf(drawn("L")));
    EXPECT_EQ(textWidth("", kRegularFont), 0);
    EXPECT_EQ(textWidth("LL", kRegularFont), 2 * textWidth("L", kRegularFont));
}

TEST(Drawing, WhatTheFontLacksIsDrawnAsMissing) {
    const Picture missing = drawn("\xEF\xBF\xBD"); // U+FFFD
    EXPECT_GT(inkOf(missing), 0);
    EXPECT_EQ(drawn("\xE6\xBC\xA2").samples, missing.samples) << "a Chinese character";
    EXPECT_EQ(drawn("\xF0\x9F\xA6\xB4").samples, missing.samples) << "beyond 16 bits";
    EXPECT_EQ(drawn("\xFF").samples, missing.samples) << "not UTF-8";
    EXPECT_EQ(drawn("\n").samples, drawn("\\u000A").samples) << "a control character";
}

TEST(WrappedText, BreaksAtSpaces) {
    const int width = textWidth("one two", kRegularFont);
    EXPECT_THAT(wrappedText("one two three", kRegularFont, width, 9), ElementsAre("one two", "three"));
    EXPECT_THAT(wrappedText("  one   two  ", kRegularFont, width, 9), ElementsAre("one two"));
    EXPECT_THAT(wrappedText("", kRegularFont, width, 9), IsEmpty());
}

TEST(WrappedText, CutsWordsThatAreLongerThanALine) {
    const int width = textWidth("mmmm", kRegularFont);
    EXPECT_THAT(wrappedText("mmmmmmmmm i", kRegularFont, width, 9), ElementsAre("mmmm", "mmmm", "m i"));
    EXPECT_THAT(wrappedText("a mmmmmm", kRegularFont, width, 9), ElementsAre("a", "mmmm", "mm"));
    EXPECT_THAT(wrappedText("ab", kRegularFont, 1, 9), ElementsAre("a", "b")) << "at least one character";
    EXPECT_THAT(wrappedText("\xC3\xA4\xC3\xA4", kRegularFont, 1, 9), ElementsAre("\xC3\xA4", "\xC3\xA4"));
}

TEST(WrappedText, TooManyLinesEndInDots) {
    const int width = textWidth("one two", kRegularFont);
    const auto lines = wrappedText("one two three four five six", kRegularFont, width, 2);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines.back(), EndsWith("..."));
    EXPECT_LE(textWidth(lines.back(), kRegularFont), width);
}
