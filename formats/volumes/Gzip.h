#pragma once

#define ZLIB_CONST // zlib only reads what it compresses
#include <zlib.h>

#include <cstddef>
#include <cstdio>
#include <span>
#include <vector>

namespace radvex::formats {

/// Writes a file through gzip as the bytes come, at zlib's fastest level: volumes are large, and mostly noise.
class GzipWriter {
  public:
    /// @param file  is borrowed and stays open
    explicit GzipWriter(std::FILE* file);
    ~GzipWriter();
    GzipWriter(const GzipWriter&) = delete;
    GzipWriter& operator=(const GzipWriter&) = delete;

    /// False when the file or zlib refused.
    bool write(std::span<const std::byte> bytes);
    /// Ends the stream; nothing may be written behind it.
    bool finish();

  private:
    bool run(int flush);

    std::FILE* mFile;
    z_stream mStream{};
    std::vector<unsigned char> mOutput;
    bool mIsOpen = false;
};

} // namespace radvex::formats
