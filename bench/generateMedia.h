#pragma once

#include <filesystem>

/// Writes the media series, series-rle, series-jpeg and series-jpegls: a DICOMDIR and a CT series of 300 slices of
/// 512 x 512 pixels in 16 bits, the files in another order than the slices.
void writeSeriesMedia(const std::filesystem::path& folder);

/// Writes the medium small: a DICOMDIR and 2,000 files without pixels in 40 series.
void writeSmallFiles(const std::filesystem::path& folder);
