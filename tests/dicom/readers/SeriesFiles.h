#pragma once

#include <cstdint>
#include <vector>

#include "tests/dicom/DicomTest.h"

namespace radvex::test {

// Files of a series. Pixels spell their index: hundreds for the file, tens for the row, ones for the column.

inline std::vector<int> spelledPixels(int file, int rows, int columns) {
    std::vector<int> values;
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            values.push_back(100 * file + 10 * row + column);
        }
    }
    return values;
}

/// Bytes as the words of Pixel Data, with one byte of padding for an odd number.
inline std::vector<Uint16> wordsOf(const std::vector<int>& bytes) {
    std::vector<Uint16> words((bytes.size() + 1) / 2);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        words[index / 2] = static_cast<Uint16>(words[index / 2] | (bytes[index] & 0xFF) << (index % 2 * 8));
    }
    return words;
}

/// 16 bits allocated and stored, unsigned.
inline ImageFile grey16(int rows, int columns, const std::vector<int>& values) {
    ImageFile file{.rows = rows, .columns = columns, .words = {}};
    for (const int value : values) {
        file.words.push_back(static_cast<Uint16>(value));
    }
    return file;
}

/// 8 bits allocated.
inline ImageFile grey8(int rows, int columns, const std::vector<int>& values, int bitsStored = 8) {
    return {.rows = rows, .columns = columns, .bitsAllocated = 8, .bitsStored = bitsStored, .words = wordsOf(values)};
}

/// RGB by pixel, 8 bits a sample.
inline ImageFile colour8(int rows, int columns, const std::vector<int>& samples) {
    ImageFile file = grey8(rows, columns, samples);
    file.samples = 3;
    file.photometric = "RGB";
    file.planarConfiguration = 0;
    return file;
}

/// What a window makes of a value: (value - (centre - 0.5)) / (width - 1) + 0.5 of the greatest grey value, cut to a
/// whole number (PS3.3 C.11.2.1.2). The terms are in DCMTK's order, so that the cut falls on the same side.
inline int windowed(double value, double centre, double width, int greatest) {
    const double left = centre - 0.5 - (width - 1) / 2;
    const double right = centre - 0.5 + (width - 1) / 2;
    if (value <= left || value > right) {
        return value <= left ? 0 : greatest;
    }
    const double offset = greatest - ((centre - 0.5) / (width - 1) + 0.5) * greatest;
    return static_cast<int>(offset + value * (greatest / (width - 1)));
}

inline std::vector<int> windowed(const std::vector<int>& values, double centre, double width, int greatest) {
    std::vector<int> greys;
    for (const int value : values) {
        greys.push_back(windowed(value, centre, width, greatest));
    }
    return greys;
}

inline std::vector<int> joined(const std::vector<std::vector<int>>& lists) {
    std::vector<int> all;
    for (const auto& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

} // namespace radvex::test
