#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/pictures/Font.h"
#include "formats/pictures/Picture.h"

namespace radvex::formats {

// Drawing on pictures of 8-bit RGB. What lies outside of the picture is left out.

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

/// Pixels of a picture, counted from its left upper corner.
struct Rectangle {
    int left = 0;
    int top = 0;
    int columns = 0;
    int rows = 0;
};

/// An RGB picture of one colour. @param rows, columns  at least 1
Picture canvasOf(int rows, int columns, Colour background);

void fillRectangle(Picture& picture, const Rectangle& area, Colour colour);

/// A line of one pixel inside the edges of the area.
void frameRectangle(Picture& picture, const Rectangle& area, Colour colour);

/// Draws one line of text. The text is made printable; a character that the font lacks is drawn as U+FFFD.
/// @param left  pen position of the first character
/// @param top   of the line; its baseline lies font.ascent below
void drawText(Picture& picture, int left, int top, std::string_view text, const Font& font, Colour colour);

/// Pixels from the first pen position to the last.
int textWidth(std::string_view text, const Font& font);

/// Breaks a text into lines of at most `width` pixels: at spaces, and inside of words that are too long for a line.
/// A line holds at least one character. Beyond `mostLines` (at least 1) the text is cut and ends in "...".
std::vector<std::string> wrappedText(std::string_view text, const Font& font, int width, std::size_t mostLines);

} // namespace radvex::formats
