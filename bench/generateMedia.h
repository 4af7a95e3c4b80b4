#pragma once

#include <filesystem>

#include "bench/Amounts.h"

/// Writes the media series, series-rle, series-jpeg and series-jpegls: a DICOMDIR and a CT series of 16-bit slices, the
/// files in another order than the slices.
void writeSeriesMedia(const std::filesystem::path& folder, const Amounts& amounts);

/// Writes media like these with small slices and more and more of them: slices-30 and so on.
void writeGrowingMedia(const std::filesystem::path& folder, const Amounts& amounts);

/// Writes the medium small: a DICOMDIR and files without pixels in some series.
void writeSmallFiles(const std::filesystem::path& folder, const Amounts& amounts);
