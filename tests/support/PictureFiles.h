#pragma once

#include <png.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "files/Errors.h"

namespace radvex::test {

/// The bytes of numbers as they lie in memory.
template <typename T>
std::string bytesOf(const std::vector<T>& numbers) {
    std::string bytes(numbers.size() * sizeof(T), '\0');
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    return bytes;
}

inline std::span<const std::byte> spanOf(const std::string& bytes) { return std::as_bytes(std::span(bytes)); }

/// A .npy file of this dictionary and data.
std::string npyBytes(const std::string& dictionary, const std::string& data, int version = 1);

/// A .npy file of a type such as "<u2" and a shape such as "(2, 3)".
std::string npyFile(const std::string& type, const std::string& shape, const std::string& data,
                    bool isFortranOrder = false);

struct PngSource {
    unsigned columns = 1;
    unsigned rows = 1;
    int bits = 8;
    int colorType = PNG_COLOR_TYPE_GRAY;
    std::string data{}; ///< rows as PNG holds them: packed, 16 bits with the high byte first
    std::vector<png_color> palette{};
    std::string alpha{}; ///< of the first colours of the palette
    bool isInterlaced = false;
};

/// The bytes of a PNG file, made by libpng.
std::string pngFile(const PngSource& source);

/// Writes the size in the header of a PNG file anew, with its checksum.
std::string withPngSize(std::string png, std::uint32_t columns, std::uint32_t rows);

/// A PNG as an independent reading through libpng's simplified interface and its header give it.
struct PngFile {
    int columns;
    int rows;
    int bits;
    int colorType;
    std::vector<unsigned char> grey8; ///< as 8-bit grey
};

PngFile readPng(const std::string& path);

/// The sentence with which a reading is refused; empty when it is not.
template <typename Read>
std::string refusalOf(Read read) {
    try {
        read();
        return "";
    } catch (const radvex::FileError& error) {
        return error.what();
    }
}

} // namespace radvex::test
