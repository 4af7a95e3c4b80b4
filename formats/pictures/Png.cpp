#include "formats/pictures/Png.h"

#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <memory>

#include "files/Errors.h"
#include "files/OutputFile.h"

namespace radvex::formats {

namespace {

/// Noisy pictures come out within 1 % of the size of zlib's usual level, 6, in a quarter of its time.
constexpr int kCompressionLevel = 4;

/// The samples as libpng takes them: bytes, the high one of 16-bit samples first; 1-bit samples one a byte.
std::vector<png_byte> bytesOf(const Picture& picture) {
    std::vector<png_byte> bytes;
    bytes.reserve(picture.samples.size() * (picture.bits == 16 ? 2 : 1));
    for (const std::uint16_t sample : picture.samples) {
        if (picture.bits == 16) {
            bytes.push_back(static_cast<png_byte>(sample >> 8));
        }
        bytes.push_back(static_cast<png_byte>(sample & 0xFF));
    }
    return bytes;
}

/// libpng leaves by longjmp on an error: nothing in here has a destructor.
bool writeRows(std::FILE* file, const Picture& picture, const png_byte* bytes) {
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, [](png_structp, png_const_charp) {});
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    // NOLINTNEXTLINE(cert-err52-cpp)
    if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.columns), static_cast<png_uint_32>(picture.rows),
                 picture.bits, picture.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, kCompressionLevel);
    png_write_info(png, info);
    png_set_packing(png);
    const png_size_t rowBytes = static_cast<png_size_t>(picture.columns) * static_cast<png_size_t>(picture.channels) *
                                (picture.bits == 16 ? 2 : 1);
    for (int row = 0; row < picture.rows; ++row) {
        png_write_row(png, bytes + static_cast<png_size_t>(row) * rowBytes);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

} // namespace

void writePng(const std::string& path, const Picture& picture) {
    const std::vector<png_byte> bytes = bytesOf(picture);
    files::writeOutputFile(path, [&](std::FILE* file) { return writeRows(file, picture, bytes.data()); });
}

std::string pngOf(const Picture& picture) {
    const std::vector<png_byte> bytes = bytesOf(picture);
    char* written = nullptr;
    std::size_t size = 0;
    std::FILE* file = open_memstream(&written, &size);
    const bool isWhole = file != nullptr && writeRows(file, picture, bytes.data());
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    const std::unique_ptr<char, void (*)(void*)> memory(written, std::free);
    if (!isWhole || !isClosed) {
        throw FileError("A picture cannot be compressed.");
    }
    return {written, size};
}

} // namespace radvex::formats
