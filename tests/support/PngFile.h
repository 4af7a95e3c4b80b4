#pragma once

#include <gtest/gtest.h>
#include <png.h>

#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace radvex::test {

/// A PNG as an independent reading through libpng's simplified interface and its header give it.
struct PngFile {
    int columns;
    int rows;
    int bits;
    int colorType;
    std::vector<unsigned char> grey8; ///< as 8-bit grey
};

inline PngFile readPng(const std::string& path) {
    const std::string bytes = readFile(path);
    const auto number = [&](std::size_t at) { // big-endian, PNG section 11.2.2
        return (static_cast<unsigned char>(bytes[at + 2]) << 8) | static_cast<unsigned char>(bytes[at + 3]);
    };
    PngFile file{number(16), number(20), bytes[24], bytes[25], {}};
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()), 0);
    image.format = PNG_FORMAT_GRAY;
    file.grey8.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, file.grey8.data(), 0, nullptr), 0);
    return file;
}

} // namespace radvex::test
