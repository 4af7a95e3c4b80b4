#pragma once

#include <cstdint>
#include <vector>

/// A body in air with noise in the low bits, 12 bits, the same at every run. comparison/voxels.py computes the same.
inline void fillPixels(std::uint16_t* pixels, int frames, int rows, int columns) {
    std::uint32_t random = 12345;
    for (int frame = 0; frame < frames; ++frame) {
        const int radius = 150 * columns / 512 + frame / 8;
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                random = random * 1664525U + 1013904223U;
                const int x = column - columns / 2;
                const int y = row - rows / 2;
                const int inside = x * x + 2 * y * y < radius * radius ? 1000 + (x + y) / 2 : 24;
                *pixels++ = static_cast<std::uint16_t>(inside + static_cast<int>(random >> 28));
            }
        }
    }
}

inline std::vector<std::uint16_t> makePixels(int frames, int rows, int columns) {
    std::vector<std::uint16_t> pixels(static_cast<std::size_t>(frames) * static_cast<std::size_t>(rows) *
                                      static_cast<std::size_t>(columns));
    fillPixels(pixels.data(), frames, rows, columns);
    return pixels;
}
