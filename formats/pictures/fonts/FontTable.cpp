// Draws the characters of fonts with FreeType while the software is built and writes them as C++ tables, so that the
// command loads neither a font nor a drawing library. Arguments: OUTPUT, then NAME FONT_FILE PIXELS for each font.
#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

/// Latin, Greek and Cyrillic, which need no shaping, punctuation, and the sign for what is missing.
constexpr std::pair<FT_ULong, FT_ULong> kCharacters[] = {
    {0x20, 0x7E},     {0xA0, 0x17F},    {0x370, 0x3FF},   {0x400, 0x45F},   {0x1E00, 0x1EFF},
    {0x2010, 0x2026}, {0x20AC, 0x20AC}, {0x2212, 0x2212}, {0xFFFD, 0xFFFD},
};

/// Owns what FreeType made.
class Face {
  public:
    Face(const char* file, FT_UInt pixels) {
        if (FT_Init_FreeType(&mLibrary) != 0) {
            throw std::runtime_error("FreeType does not start");
        }
        if (FT_New_Face(mLibrary, file, 0, &mFace) != 0 || FT_Set_Pixel_Sizes(mFace, 0, pixels) != 0) {
            (void)FT_Done_FreeType(mLibrary);
            throw std::runtime_error(std::string("no usable font: ") + file);
        }
    }
    ~Face() { (void)FT_Done_FreeType(mLibrary); }
    Face(const Face&) = delete;
    Face& operator=(const Face&) = delete;

    bool has(FT_ULong character) const { return FT_Get_Char_Index(mFace, character) != 0; }
    FT_GlyphSlot draw(FT_ULong character) const {
        if (FT_Load_Char(mFace, character, FT_LOAD_RENDER) != 0) {
            throw std::runtime_error("FreeType cannot draw character " + std::to_string(character));
        }
        return mFace->glyph;
    }
    const FT_Size_Metrics& metrics() const { return mFace->size->metrics; }

  private:
    FT_Library mLibrary = nullptr;
    FT_Face mFace = nullptr;
};

/// The tables of one font, while they are written.
struct Tables {
    std::ostringstream glyphs{};
    std::ostringstream coverage{};
    std::size_t offset = 0;
};

void add(Tables& tables, FT_ULong character, const FT_GlyphSlotRec& glyph) {
    const FT_Bitmap& bitmap = glyph.bitmap;
    tables.glyphs << "{" << character << "," << tables.offset << "," << glyph.bitmap_left << "," << glyph.bitmap_top
                  << "," << bitmap.width << "," << bitmap.rows << "," << (glyph.advance.x >> 6) << "},\n";
    for (unsigned row = 0; row < bitmap.rows; ++row) {
        const unsigned char* line = bitmap.buffer + static_cast<std::ptrdiff_t>(row) * bitmap.pitch;
        for (unsigned column = 0; column < bitmap.width; ++column) {
            tables.coverage << static_cast<unsigned>(line[column]) << ",";
        }
    }
    tables.coverage << "\n";
    tables.offset += static_cast<std::size_t>(bitmap.rows) * bitmap.width;
}

std::string fontOf(const std::string& name, const char* file, FT_UInt pixels) {
    const Face face(file, pixels);
    Tables tables;
    for (const auto& [first, last] : kCharacters) {
        for (FT_ULong character = first; character <= last; ++character) {
            if (face.has(character)) {
                add(tables, character, *face.draw(character));
            }
        }
    }
    std::ostringstream text;
    text << "namespace {\nconstexpr std::uint8_t " << name << "Coverage[] = {\n"
         << tables.coverage.str() << "};\nconstexpr Glyph " << name << "Glyphs[] = {\n"
         << tables.glyphs.str() << "};\n} // namespace\nconstinit const Font " << name << "{" << name << "Glyphs, "
         << name << "Coverage, " << (face.metrics().ascender >> 6) << ", " << (face.metrics().height >> 6) << "};\n";
    return text.str();
}

} // namespace

int main(int count, char** arguments) {
    try {
        std::string text = "#include \"formats/pictures/Font.h\"\n\nnamespace radvex::formats {\n";
        for (int index = 2; index + 2 < count; index += 3) {
            const unsigned long pixels = std::strtoul(arguments[index + 2], nullptr, 10);
            text += fontOf(arguments[index], arguments[index + 1], static_cast<FT_UInt>(pixels));
        }
        std::ofstream output(count > 1 ? arguments[1] : "");
        output << text << "} // namespace radvex::formats\n";
        output.close();
        if (!output) {
            throw std::runtime_error("the tables cannot be written");
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
