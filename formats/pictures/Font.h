#pragma once

#include <cstdint>
#include <span>

namespace radvex::formats {

/// A character as a small picture. Its coverage is one byte for each pixel, row by row: 0 outside, 255 inside.
struct Glyph {
    char32_t character;
    std::uint32_t offset; ///< of its first byte in the coverage of the font
    std::int16_t left;    ///< first column, from the pen
    std::int16_t top;     ///< first row, above the baseline
    std::uint8_t columns;
    std::uint8_t rows;
    std::uint8_t advance; ///< from this pen position to the next
};

/// The characters of a font in one size, in pixels.
struct Font {
    std::span<const Glyph> glyphs; ///< ascending by character; with U+FFFD
    const std::uint8_t* coverage;
    int ascent;     ///< of the line above the baseline
    int lineHeight; ///< from one baseline to the next
};

// Drawn from DejaVu Sans when the software is built: nothing is loaded or installed for it at run time, and the start
// of the command, 4 ms, stays as it is. FreeType would add 0.6 ms, cairo 2 ms with 20 libraries, gd 7 ms with 50.
extern const Font kRegularFont;
extern const Font kBoldFont; ///< larger as well

} // namespace radvex::formats
