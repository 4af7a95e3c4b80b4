#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <span>

namespace radvex::formats {

/// Writes a file through gzip as the bytes come, at zlib's fastest level: volumes are large, and mostly noise.
class GzipWriter {
  public:
    /// @param file  is borrowed and stays open; what was written to it before stands in front
    explicit GzipWriter(std::FILE* file);

    /// False when the file or zlib refused.
    bool write(std::span<const std::byte> bytes);
    /// Ends the stream; nothing may be written behind it.
    bool finish();

  private:
    struct Close {
        void operator()(gzFile stream) const { (void)gzclose(stream); }
    };
    std::unique_ptr<gzFile_s, Close> mStream{};
};

} // namespace radvex::formats
