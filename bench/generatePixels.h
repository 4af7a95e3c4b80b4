#pragma once

#include <filesystem>

/// 400 frames of 512 x 512 16-bit pixels, 12 bits stored: uncompressed, RLE, JPEG lossless and JPEG-LS (200 MB each
/// when decoded).
void writeMultiFrames(const std::filesystem::path& folder);

/// Ends the program with a message when a condition is bad.
class OFCondition;
void check(const OFCondition& condition);
