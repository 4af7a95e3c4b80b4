#include "formats/pictures/Picture.h"

#include <algorithm>
#include <cmath>

namespace radvex::formats {

namespace {

/// A sample as PNG has it.
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
                // DCMTK writes the planes of each frame together, so that planar slices lie frame by frame.
                const std::size_t source = info.interleaved ? (slice * plane + pixel) * channels + channel
                                                            : (slice * channels + channel) * plane + pixel;
                samples[pixel * channels + channel] = sampleOf(data[source]);
            }
        }
    }
    return pictures;
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

} // namespace radvex::formats
