#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "guard/SourceFile.h"

namespace radvex {

/// Room for the reading of one file at a time.
struct FileBuffers {
    /// Holds the headers of an ordinary image up to its pixels.
    std::array<std::uint8_t, std::size_t{16} * 1024> head;
    std::array<std::uint8_t, std::size_t{8} * 1024> window;
};

/// The value after a long one may be long as well (fragments of a cine loop), so only a few headers are read behind it.
/// Behind short ones, reading on costs less than a call of the system for each.
inline constexpr std::uint64_t kLongSkip = 4096;
inline constexpr std::size_t kChunkAfterLongSkip = 64;

/// A file while it is looked through and parsed. Its beginning is read once and kept, so that who looks through the
/// headers first and who parses them then share one read; a small file is never read again.
class OpenFile {
  public:
    explicit OpenFile(const std::string& path);
    /// The same in the buffers of the caller, which have to outlive this.
    OpenFile(const std::string& path, FileBuffers& buffers);
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool isOpen() const { return mSource->isOpen(); }
    std::string reasonNotOpen() const { return mSource->reasonNotOpen(); }
    std::uint64_t size() const { return mSource->size(); }
    const std::string& path() const { return mSource->path(); }

    /// Reads `count` bytes from an offset. @return their number: fewer at the end of the file, or when reading failed
    std::size_t read(void* into, std::size_t count, std::uint64_t offset);
    bool hasFailed() const { return mSource->hasFailed(); }
    std::string failure() const { return mSource->failure(); }

    /// Room for who reads the file in small pieces.
    FileBuffers& buffers() { return mBuffers; }
    /// The file itself, for who reads on in it when this is gone.
    const std::shared_ptr<SourceFile>& source() const { return mSource; }

  private:
    std::unique_ptr<FileBuffers> mOwnBuffers{};
    FileBuffers& mBuffers;
    std::shared_ptr<SourceFile> mSource;
    std::size_t mHeadLength = 0;
};

} // namespace radvex
