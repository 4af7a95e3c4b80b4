#include "tests/support/PictureFiles.h"

#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace radvex::test {

namespace {

void appendBytes(png_structp png, png_bytep bytes, png_size_t length) {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(bytes), length);
}

void putNumber(std::string& bytes, std::size_t at, std::uint32_t number) {
    for (std::size_t index = 0; index < 4; ++index) {
        bytes[at + index] = static_cast<char>(number >> (24 - 8 * index));
    }
}

/// The checksum of a chunk, by the definition of the format.
std::uint32_t checksum(const std::string& bytes) {
    std::uint32_t remainder = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        remainder ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    return ~remainder;
}

} // namespace

std::string npyBytes(const std::string& dictionary, const std::string& data, int version) {
    std::string bytes("\x93NUMPY", 6);
    bytes += static_cast<char>(version);
    bytes += '\0';
    for (std::size_t index = 0; index < (version == 1 ? 2U : 4U); ++index) {
        bytes += static_cast<char>(dictionary.size() >> (8 * index));
    }
    return bytes + dictionary + data;
}

std::string npyFile(const std::string& type, const std::string& shape, const std::string& data, bool isFortranOrder) {
    return npyBytes("{'descr': '" + type + "', 'fortran_order': " + (isFortranOrder ? "True" : "False") +
                        ", 'shape': " + shape + ", }\n",
                    data);
}

std::string pngFile(const PngSource& source) {
    std::string bytes;
    png_structp png = png_create_write_struct(
        PNG_LIBPNG_VER_STRING, nullptr, [](png_structp, png_const_charp reason) { throw std::runtime_error(reason); },
        nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &bytes, appendBytes, [](png_structp) {});
    png_set_IHDR(png, info, source.columns, source.rows, source.bits, source.colorType,
                 source.isInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!source.palette.empty()) {
        png_set_PLTE(png, info, source.palette.data(), static_cast<int>(source.palette.size()));
    }
    if (!source.alpha.empty()) {
        png_set_tRNS(png, info, reinterpret_cast<png_const_bytep>(source.alpha.data()),
                     static_cast<int>(source.alpha.size()), nullptr);
    }
    png_write_info(png, info);
    std::string data = source.data;
    const std::size_t rowBytes = png_get_rowbytes(png, info);
    std::vector<png_bytep> rows;
    for (std::size_t row = 0; row < source.rows; ++row) {
        rows.push_back(reinterpret_cast<png_bytep>(data.data() + row * rowBytes));
    }
    png_write_image(png, rows.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

std::string withPngSize(std::string png, std::uint32_t columns, std::uint32_t rows) {
    constexpr std::size_t kType = 12; // of the first chunk
    constexpr std::size_t kEnd = 29;
    putNumber(png, kType + 4, columns);
    putNumber(png, kType + 8, rows);
    putNumber(png, kEnd, checksum(png.substr(kType, kEnd - kType)));
    return png;
}

PngFile readPng(const std::string& path) {
    const std::string bytes = readFile(path);
    const auto number = [&](std::size_t offset) { // big-endian, PNG section 11.2.2
        return (static_cast<unsigned char>(bytes[offset + 2]) << 8) | static_cast<unsigned char>(bytes[offset + 3]);
    };
    PngFile file{number(16), number(20), bytes[24], bytes[25], {}};
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    const bool isBegun = png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) != 0;
    image.format = PNG_FORMAT_GRAY;
    file.grey8.resize(PNG_IMAGE_SIZE(image));
    if (!isBegun || png_image_finish_read(&image, nullptr, file.grey8.data(), 0, nullptr) == 0) {
        throw std::runtime_error("libpng cannot read " + path);
    }
    return file;
}

} // namespace radvex::test
