#include "formats/pictures/Picture.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "files/Errors.h"
#include "formats/json/TypeNames.h"

namespace radvex::formats {

namespace {

/// A sample as PNG stores it.
std::uint16_t sampleOf(std::uint8_t value) { return value; }
std::uint16_t sampleOf(std::int8_t value) { return value != 0 ? 1 : 0; }
std::uint16_t sampleOf(std::uint16_t value) { return value; }
std::uint16_t sampleOf(double value) {
    constexpr double kMaximum = 65535.0;
    return static_cast<std::uint16_t>(std::lround(std::clamp(std::isnan(value) ? 0.0 : value, 0.0, 1.0) * kMaximum));
}

template <typename T>
std::vector<Picture> split(const velmora::Image& image, int bits) {
    const VelmoraImage& info = image.info();
    const T* data = image.data<T>().data();
    const auto plane = static_cast<std::size_t>(info.rows) * static_cast<std::size_t>(info.columns);
    const auto slices = static_cast<std::size_t>(info.slices);
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<Picture> pictures(slices, Picture{info.rows, info.columns, info.channels, bits, {}});
    for (std::size_t slice = 0; slice < slices; ++slice) {
        auto& samples = pictures[slice].samples;
        samples.resize(plane * channels);
        for (std::size_t pixel = 0; pixel < plane; ++pixel) {
            for (std::size_t channel = 0; channel < channels; ++channel) {
                // DCMTK writes the planes of each frame together: planar channels lie inside their slice.
                const std::size_t source = info.interleaved ? (slice * plane + pixel) * channels + channel
                                                            : (slice * channels + channel) * plane + pixel;
                samples[pixel * channels + channel] = sampleOf(data[source]);
            }
        }
    }
    return pictures;
}

void require(bool isFine, const std::string& name, const std::string& sentence) {
    if (!isFine) {
        throw FileError(name + " " + sentence);
    }
}

} // namespace

std::vector<Picture> picturesOf(const velmora::Image& image) {
    switch (image.info().type) {
    case VImage_Bit: return split<std::int8_t>(image, 1);
    case VImage_U8: return split<std::uint8_t>(image, 8);
    case VImage_U16: return split<std::uint16_t>(image, 16);
    case VImage_F32: return split<float>(image, 16);
    default: return split<double>(image, 16);
    }
}

Picture contactSheet(const std::vector<Picture>& pictures) {
    const Picture& first = pictures.front();
    const int across = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(pictures.size()))));
    const int down = (static_cast<int>(pictures.size()) + across - 1) / across;
    Picture sheet{first.rows * down, first.columns * across, first.channels, first.bits, {}};
    sheet.samples.resize(static_cast<std::size_t>(sheet.rows) * static_cast<std::size_t>(sheet.columns) *
                         static_cast<std::size_t>(sheet.channels));
    for (std::size_t number = 0; number < pictures.size(); ++number) {
        const int top = static_cast<int>(number) / across * first.rows;
        const int left = static_cast<int>(number) % across * first.columns;
        for (int row = 0; row < first.rows; ++row) {
            const auto* line = &pictures[number].samples[first.indexOf(row, 0, 0)];
            std::copy_n(line, first.columns * first.channels, &sheet.samples[sheet.indexOf(top + row, left, 0)]);
        }
    }
    return sheet;
}

velmora::Image newPicture(const std::string& name, const PictureSize& size, vint type) {
    constexpr std::uint64_t kLargest = 65535; // the attributes of rows and columns have 16 bits
    constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<vint>::max());
    const std::uint64_t slices = size.slices == 0 ? 1 : size.slices;
    require(size.rows > 0 && size.columns > 0, name, "holds no pixels.");
    require(size.rows <= kLargest && size.columns <= kLargest, name,
            "has " + std::to_string(size.rows) + " rows and " + std::to_string(size.columns) +
                " columns; a DICOM image has at most 65535 of each.");
    require(size.channels == 1 || size.channels == 3, name,
            "has " + std::to_string(size.channels) + " channels; a picture has 1 (grey) or 3 (RGB).");
    const std::uint64_t inSlice = size.rows * size.columns * size.channels; // below 2^34
    require(slices <= kMost / inSlice, name,
            "holds more than " + std::to_string(kMost) + " values, the most that one image can have.");
    return {static_cast<vint>(size.slices),
            static_cast<vint>(size.rows),
            static_cast<vint>(size.columns),
            static_cast<vint>(size.channels),
            type,
            size.channels == 1 ? VColorSpace_Grey : VColorSpace_RGB,
            true};
}

std::string describePicture(const velmora::Image& image) {
    const VelmoraImage& info = image.info();
    const std::string frames = info.rank == 3 ? std::to_string(info.slices) + " frames of " : "";
    return frames + std::to_string(info.rows) + " x " + std::to_string(info.columns) + " " +
           typeName(kImageTypeNames, info.type) + (info.channels == 1 ? " grey" : " RGB");
}

} // namespace radvex::formats
