#include "formats/pictures/Png.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "files/Errors.h"
#include "files/OutputFile.h"

namespace radvex::formats {

namespace {

/// Noisy pictures get within 1 % of the size that zlib's default level, 6, gives, in a quarter of the time.
constexpr int kCompressionLevel = 4;

/// The samples as libpng takes them: 16-bit samples with the high byte first, 1-bit samples in one byte each.
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

/// libpng leaves by longjmp on an error: no local variable may have a destructor.
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

/// The bytes that libpng reads, and the reason why it gave up.
struct Source {
    std::span<const std::byte> bytes{};
    std::size_t offset = 0;
    char reason[128] = "";
};

void readBytes(png_structp png, png_bytep target, png_size_t length) {
    auto* source = static_cast<Source*>(png_get_io_ptr(png));
    if (length > source->bytes.size() - source->offset) {
        png_error(png, "the file ends too early");
    }
    std::memcpy(target, source->bytes.data() + source->offset, length);
    source->offset += length;
}

[[noreturn]] void leave(png_structp png, png_const_charp reason) {
    auto* source = static_cast<Source*>(png_get_error_ptr(png));
    std::strncpy(source->reason, reason, sizeof source->reason - 1);
    png_longjmp(png, 1);
}

/// Owns libpng's structures.
class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes)
        : mSource{.bytes = bytes},
          mPng(png_create_read_struct(PNG_LIBPNG_VER_STRING, &mSource, leave, [](png_structp, png_const_charp) {})),
          mInfo(mPng == nullptr ? nullptr : png_create_info_struct(mPng)) {
        if (mInfo == nullptr) {
            png_destroy_read_struct(&mPng, nullptr, nullptr);
            throw std::bad_alloc();
        }
        png_set_read_fn(mPng, &mSource, readBytes);
        // newPicture refuses large sizes, with a better message.
        png_set_user_limits(mPng, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    }
    ~Reader() { png_destroy_read_struct(&mPng, &mInfo, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // libpng leaves by longjmp on an error: no local variable may have a destructor. They return false then.
    bool readHeader() {
        if (setjmp(png_jmpbuf(mPng)) != 0) { // NOLINT(cert-err52-cpp)
            return false;
        }
        png_read_info(mPng, mInfo);
        mIsBit = png_get_bit_depth(mPng, mInfo) == 1 && png_get_color_type(mPng, mInfo) == PNG_COLOR_TYPE_GRAY &&
                 png_get_valid(mPng, mInfo, PNG_INFO_tRNS) == 0;
        return true;
    }
    bool chooseForm() {
        if (setjmp(png_jmpbuf(mPng)) != 0) { // NOLINT(cert-err52-cpp)
            return false;
        }
        png_set_packing(mPng);
        if (png_get_color_type(mPng, mInfo) == PNG_COLOR_TYPE_PALETTE) {
            png_set_palette_to_rgb(mPng);
        } else if (png_get_bit_depth(mPng, mInfo) == 2 || png_get_bit_depth(mPng, mInfo) == 4) {
            png_set_expand_gray_1_2_4_to_8(mPng);
        }
        if (png_get_valid(mPng, mInfo, PNG_INFO_tRNS) != 0) {
            png_set_tRNS_to_alpha(mPng);
        }
        png_set_swap(mPng); // the low byte first
        (void)png_set_interlace_handling(mPng);
        png_read_update_info(mPng, mInfo);
        return true;
    }
    /// Reads to the end of the file, so that a truncated one is noticed.
    bool readRows(png_bytepp rows) {
        if (setjmp(png_jmpbuf(mPng)) != 0) { // NOLINT(cert-err52-cpp)
            return false;
        }
        png_read_image(mPng, rows);
        png_read_end(mPng, nullptr);
        return true;
    }

    png_uint_32 rows() const { return png_get_image_height(mPng, mInfo); }
    png_uint_32 columns() const { return png_get_image_width(mPng, mInfo); }
    std::size_t channels() const { return png_get_channels(mPng, mInfo); }
    /// Image type of the samples, as chooseForm chose it.
    vint type() const { return mIsBit ? VImage_Bit : png_get_bit_depth(mPng, mInfo) == 16 ? VImage_U16 : VImage_U8; }
    std::size_t rowBytes() const { return png_get_rowbytes(mPng, mInfo); }
    const char* reason() const { return mSource.reason; }

  private:
    Source mSource;
    png_structp mPng;
    png_infop mInfo;
    bool mIsBit = false;
};

[[noreturn]] void failDamaged(const std::string& name, const std::string& reason) {
    throw FileError(name + " is a damaged PNG: " + reason + ".");
}

void readInto(const std::string& name, Reader& reader, std::byte* data) {
    std::vector<png_bytep> rows(reader.rows());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        rows[row] = reinterpret_cast<png_bytep>(data + row * reader.rowBytes());
    }
    if (!reader.readRows(rows.data())) {
        failDamaged(name, reader.reason());
    }
}

/// Copies all channels but the last, which is alpha. False if a pixel is not opaque.
bool copyOpaque(std::span<const std::byte> source, std::span<std::byte> target, std::size_t pixelBytes,
                std::size_t sampleBytes) {
    const std::size_t kept = pixelBytes - sampleBytes;
    for (std::size_t pixel = 0; pixel < target.size() / kept; ++pixel) {
        const auto samples = source.subspan(pixel * pixelBytes, pixelBytes);
        if (std::any_of(samples.begin() + static_cast<std::ptrdiff_t>(kept), samples.end(),
                        [](std::byte alpha) { return alpha != std::byte{0xFF}; })) {
            return false;
        }
        std::copy_n(samples.begin(), kept, target.begin() + static_cast<std::ptrdiff_t>(pixel * kept));
    }
    return true;
}

} // namespace

void writePng(const files::Output& output, const Picture& picture) {
    const std::vector<png_byte> bytes = bytesOf(picture);
    files::writeOutputFile(output, [&](std::FILE* file) { return writeRows(file, picture, bytes.data()); });
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

bool isPng(std::span<const std::byte> bytes) {
    constexpr std::size_t kSignature = 8;
    return bytes.size() >= kSignature &&
           png_sig_cmp(reinterpret_cast<png_const_bytep>(bytes.data()), 0, kSignature) == 0;
}

velmora::Image readPng(const std::string& name, std::span<const std::byte> bytes) {
    Reader reader(bytes);
    if (!reader.readHeader()) {
        failDamaged(name, reader.reason());
    }
    // Deflate makes data at most 1032 times smaller, so a short file cannot hold a large picture.
    if (static_cast<std::uint64_t>(reader.rows()) * reader.rowBytes() / 1032 > bytes.size()) {
        failDamaged(name, "it is too short for the picture that its header announces");
    }
    if (!reader.chooseForm()) {
        failDamaged(name, reader.reason());
    }
    const std::size_t channels = reader.channels();
    const bool hasAlpha = channels == 2 || channels == 4;
    const vint type = reader.type();
    velmora::Image image = newPicture(
        name, {.rows = reader.rows(), .columns = reader.columns(), .channels = hasAlpha ? channels - 1 : channels},
        type);
    if (!hasAlpha) {
        readInto(name, reader, image.bytes().data());
        return image;
    }
    const std::size_t sampleBytes = type == VImage_U16 ? 2 : 1;
    std::vector<std::byte> samples(reader.rows() * reader.rowBytes());
    readInto(name, reader, samples.data());
    if (!copyOpaque(samples, image.bytes(), channels * sampleBytes, sampleBytes)) {
        throw FileError(name +
                        " has transparent pixels, which a DICOM image cannot have: put the picture on a background.");
    }
    return image;
}

} // namespace radvex::formats
