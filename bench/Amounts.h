#pragma once

#include <vector>

/// How much data the benchmarks read: what `make bench` measures, or little, to try the benchmark itself.
struct Amounts {
    int slices = 300;    ///< of each CT series
    int side = 512;      ///< rows and columns of slices and frames
    int frames = 200;    ///< of the 16-bit multi-frame files
    int rgbFrames = 120; ///< of the RGB file
    int rgbRows = 480;
    int rgbColumns = 640;
    int smallFiles = 2000;
    int smallSeries = 40;
    int growthSide = 64;                               ///< rows and columns of the volumes that grow
    std::vector<int> growthSlices{30, 300, 3000};      ///< no multiples of 7, by which the files are shuffled
    std::vector<int> elements{2'000, 20'000, 200'000}; ///< multiples of 200; the last is the file of many elements
    static Amounts small() { return {12, 64, 4, 3, 48, 64, 60, 12, 16, {6, 12, 24}, {200, 400, 800}}; }
    /// For counting instructions.
    static Amounts counted() { return {10, 64, 4, 3, 48, 64, 50, 5, 16, {}, {2'000}}; }
};
