#pragma once

#include <cstdint>
#include <vector>

constexpr int kSize = 512; ///< rows and columns of every picture

/// A body in air with noise in the low bits, 12 bits, the same at every run.
inline void fillPixels(std::uint16_t* pixels, int frames) {
    std::uint32_t random = 12345;
    for (int frame = 0; frame < frames; ++frame) {
        for (int row = 0; row < kSize; ++row) {
            for (int column = 0; column < kSize; ++column) {
                random = random * 1664525U + 1013904223U;
                const int x = column - kSize / 2;
                const int y = row - kSize / 2;
                const int inside = x * x + 2 * y * y < (150 + frame / 8) * (150 + frame / 8) ? 1000 + (x + y) / 2 : 24;
                *pixels++ = static_cast<std::uint16_t>(inside + static_cast<int>(random >> 28));
            }
        }
    }
}

inline std::vector<std::uint16_t> makePixels(int frames) {
    std::vector<std::uint16_t> pixels(static_cast<std::size_t>(frames) * kSize * kSize);
    fillPixels(pixels.data(), frames);
    return pixels;
}
