#include "formats/pictures/PngRead.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <vector>

#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/pictures/NewPicture.h"

namespace radvex::formats {

namespace {

/// What libpng reads from, and why it gave up.
struct Source {
    std::span<const std::byte> bytes{};
    std::size_t position = 0;
    char reason[128] = "";
};

void readBytes(png_structp png, png_bytep target, png_size_t length) {
    auto* source = static_cast<Source*>(png_get_io_ptr(png));
    if (length > source->bytes.size() - source->position) {
        png_error(png, "the file ends too early");
    }
    std::memcpy(target, source->bytes.data() + source->position, length);
    source->position += length;
}

[[noreturn]] void leave(png_structp png, png_const_charp reason) {
    auto* source = static_cast<Source*>(png_get_error_ptr(png));
    std::strncpy(source->reason, reason, sizeof source->reason - 1);
    png_longjmp(png, 1);
}

/// libpng's structures, which go with their scope.
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
        // A large size is told in a sentence of its own.
        png_set_user_limits(mPng, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    }
    ~Reader() { png_destroy_read_struct(&mPng, &mInfo, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // libpng leaves by longjmp on an error: nothing in these has a destructor. They are false then.
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
        png_set_swap(mPng); // 16 bits, the low byte first
        (void)png_set_interlace_handling(mPng);
        png_read_update_info(mPng, mInfo);
        return true;
    }
    /// The rest of the file has to be whole as well.
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
    /// Type of the samples in the form that was chosen.
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

/// Deflate makes data at most 1032 times smaller, so that a short file cannot promise a large picture.
void requirePlausible(const std::string& name, const Reader& reader, std::size_t fileSize) {
    constexpr std::uint64_t kRatio = 1032;
    if (static_cast<std::uint64_t>(reader.rows()) * reader.rowBytes() / kRatio > fileSize) {
        failDamaged(name, "it is too short for the picture that it promises");
    }
}

std::vector<png_bytep> rowsOf(std::byte* data, std::size_t count, std::size_t rowBytes) {
    std::vector<png_bytep> rows(count);
    for (std::size_t row = 0; row < count; ++row) {
        rows[row] = reinterpret_cast<png_bytep>(data + row * rowBytes);
    }
    return rows;
}

void readInto(const std::string& name, Reader& reader, std::byte* data) {
    auto rows = rowsOf(data, reader.rows(), reader.rowBytes());
    if (!reader.readRows(rows.data())) {
        failDamaged(name, reader.reason());
    }
}

/// Copies all channels but the last, which is alpha. False when a pixel is not opaque.
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
    requirePlausible(name, reader, bytes.size());
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
        throw FileError(name + " has transparent pixels, and a DICOM image has none: put the picture on a background.");
    }
    return image;
}

} // namespace radvex::formats
