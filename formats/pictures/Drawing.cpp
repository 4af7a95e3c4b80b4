#include "formats/pictures/Drawing.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "formats/json/Text.h"

namespace radvex::formats {

namespace {

constexpr char32_t kMissing = 0xFFFD;

std::u32string charactersOf(std::string_view text) {
    const std::string valid = printable(text);
    std::u32string characters;
    utf8::utf8to32(valid.begin(), valid.end(), std::back_inserter(characters));
    return characters;
}

std::string utf8Of(const std::u32string& characters) {
    std::string text;
    utf8::utf32to8(characters.begin(), characters.end(), std::back_inserter(text));
    return text;
}

const Glyph& glyphOf(const Font& font, char32_t character) {
    const auto found = std::ranges::lower_bound(font.glyphs, character, {}, &Glyph::character);
    if (found != font.glyphs.end() && found->character == character) {
        return *found;
    }
    return character == kMissing ? font.glyphs.back() : glyphOf(font, kMissing);
}

int widthOf(const std::u32string& characters, const Font& font) {
    int width = 0;
    for (const char32_t character : characters) {
        width += glyphOf(font, character).advance;
    }
    return width;
}

/// Mixes a colour into a pixel. @param coverage  0 keeps the pixel, 255 replaces it
void mix(Picture& picture, int row, int column, Colour colour, int coverage) {
    if (row < 0 || column < 0 || row >= picture.rows || column >= picture.columns) {
        return;
    }
    const int parts[] = {colour.red, colour.green, colour.blue};
    for (int channel = 0; channel < 3; ++channel) {
        std::uint16_t& sample = picture.samples[picture.indexOf(row, column, channel)];
        sample = static_cast<std::uint16_t>((sample * (255 - coverage) + parts[channel] * coverage + 127) / 255);
    }
}

void drawGlyph(Picture& picture, int pen, int baseline, const Font& font, const Glyph& glyph, Colour colour) {
    const std::uint8_t* coverage = font.coverage + glyph.offset;
    for (int row = 0; row < glyph.rows; ++row) {
        for (int column = 0; column < glyph.columns; ++column) {
            mix(picture, baseline - glyph.top + row, pen + glyph.left + column, colour, *coverage++);
        }
    }
}

/// Breaks a text into lines, character by character.
class LineBreaker {
  public:
    LineBreaker(const Font& font, int width) : mFont(font), mWidth(width) {}

    void add(char32_t character) {
        if (character == U' ') {
            endWord();
            return;
        }
        const int advance = glyphOf(mFont, character).advance;
        if (!mWord.empty() && mWordWidth + advance > mWidth) { // longer than a line
            endWord();
            endLine();
        }
        mWord += character;
        mWordWidth += advance;
    }
    std::vector<std::u32string> finish() {
        endWord();
        endLine();
        return std::move(mLines);
    }

  private:
    void endWord() {
        if (mWord.empty()) {
            return;
        }
        const int space = glyphOf(mFont, U' ').advance;
        if (!mLine.empty() && mLineWidth + space + mWordWidth > mWidth) {
            endLine();
        }
        if (!mLine.empty()) {
            mLine += U' ';
            mLineWidth += space;
        }
        mLine += std::exchange(mWord, {});
        mLineWidth += std::exchange(mWordWidth, 0);
    }
    void endLine() {
        if (!mLine.empty()) {
            mLines.push_back(std::exchange(mLine, {}));
            mLineWidth = 0;
        }
    }

    const Font& mFont;
    int mWidth;
    std::u32string mWord{};
    int mWordWidth = 0;
    std::u32string mLine{};
    int mLineWidth = 0;
    std::vector<std::u32string> mLines{};
};

} // namespace

Picture canvasOf(int rows, int columns, Colour background) {
    Picture picture{rows, columns, 3, 8, {}};
    picture.samples.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns) * 3);
    fillRectangle(picture, {0, 0, columns, rows}, background);
    return picture;
}

void fillRectangle(Picture& picture, const Rectangle& area, Colour colour) {
    for (int row = std::max(area.top, 0); row < std::min(area.top + area.rows, picture.rows); ++row) {
        for (int column = std::max(area.left, 0); column < std::min(area.left + area.columns, picture.columns);
             ++column) {
            mix(picture, row, column, colour, 255);
        }
    }
}

void frameRectangle(Picture& picture, const Rectangle& area, Colour colour) {
    fillRectangle(picture, {area.left, area.top, area.columns, 1}, colour);
    fillRectangle(picture, {area.left, area.top + area.rows - 1, area.columns, 1}, colour);
    fillRectangle(picture, {area.left, area.top, 1, area.rows}, colour);
    fillRectangle(picture, {area.left + area.columns - 1, area.top, 1, area.rows}, colour);
}

void drawText(Picture& picture, int left, int top, std::string_view text, const Font& font, Colour colour) {
    int pen = left;
    for (const char32_t character : charactersOf(text)) {
        const Glyph& glyph = glyphOf(font, character);
        drawGlyph(picture, pen, top + font.ascent, font, glyph, colour);
        pen += glyph.advance;
    }
}

int textWidth(std::string_view text, const Font& font) { return widthOf(charactersOf(text), font); }

std::vector<std::string> wrappedText(std::string_view text, const Font& font, int width, std::size_t mostLines) {
    LineBreaker breaker(font, width);
    for (const char32_t character : charactersOf(text)) {
        breaker.add(character);
    }
    std::vector<std::u32string> lines = breaker.finish();
    if (lines.size() > mostLines) {
        lines.resize(mostLines);
        std::u32string& last = lines.back();
        while (last.size() > 1 && widthOf(last + U"...", font) > width) {
            last.pop_back();
        }
        last += U"...";
    }
    std::vector<std::string> texts;
    std::ranges::transform(lines, std::back_inserter(texts), utf8Of);
    return texts;
}

} // namespace radvex::formats
