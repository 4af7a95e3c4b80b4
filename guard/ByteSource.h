#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <zlib.h>

#include "guard/OpenFile.h"

namespace radvex {

/// The bytes of a file in order, seen through a small window. Bytes that are skipped are not read if possible.
class ByteSource {
  public:
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    /// The largest number of bytes that one peek can show. Small enough for the stack: allocating a block of this size
    /// makes the allocator tidy the heap, which would cost time for every file.
    static constexpr std::size_t kWindow = std::size_t{16} * 1024;

    /// Offset of the next byte from the beginning of the file; inflated bytes count as if the file held them.
    std::uint64_t offset() const { return mOffset; }

    /// The next bytes, which are not consumed. Fewer than wanted only at the end.
    std::span<const std::uint8_t> peek(std::size_t wanted) {
        if (mEnd - mBegin < wanted) {
            refill(wanted);
        }
        return {mBuffer.data() + mBegin, std::min(wanted, mEnd - mBegin)};
    }

    /// Moves past bytes that a peek has shown.
    void consume(std::size_t count) {
        mBegin += count;
        mOffset += count;
    }

    /// Moves past `count` bytes. @return false when there are fewer; the offset is then that of the end
    bool skip(std::uint64_t count) {
        if (count > mEnd - mBegin) {
            return skipBeyondWindow(count);
        }
        consume(static_cast<std::size_t>(count));
        return true;
    }

  protected:
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the window is written before it is read
    explicit ByteSource(std::uint64_t offset) : mOffset(offset) {}

    /// Reads the next bytes, at most `room`. @return their number, 0 at the end
    virtual std::size_t readOn(std::uint8_t* into, std::size_t room) = 0;
    /// Skips the next bytes. @return their number, less than `count` at the end
    virtual std::uint64_t passOver(std::uint64_t count) = 0;

    /// The window as working memory. It must hold no unread bytes.
    std::uint8_t* scratch() { return mBuffer.data(); }

  private:
    void refill(std::size_t wanted);
    bool skipBeyondWindow(std::uint64_t count);

    std::array<std::uint8_t, kWindow> mBuffer;
    std::size_t mBegin = 0; ///< first unread byte of the window
    std::size_t mEnd = 0;
    std::uint64_t mOffset;
};

/// A file from its beginning. The first read, and the first one after a skip, is small; later ones grow.
class FileSource : public ByteSource {
  public:
    /// The file has to outlive this. A file that is not open has no bytes.
    explicit FileSource(OpenFile& file);

  protected:
    std::size_t readOn(std::uint8_t* into, std::size_t room) override;
    std::uint64_t passOver(std::uint64_t count) override;

  private:
    OpenFile& mFile;
    std::uint64_t mNext = 0; ///< offset of the first byte that is not in the window
    std::size_t mChunk;
};

/// The rest of another source, inflated (DICOM has raw deflate streams). Holds no more than the window.
class InflatingSource : public ByteSource {
  public:
    /// Ends early when it has produced more than `limit` bytes.
    InflatingSource(ByteSource& deflated, std::uint64_t limit);
    ~InflatingSource() override;

    bool isOverLimit() const { return mProduced > mLimit; }

  protected:
    std::size_t readOn(std::uint8_t* into, std::size_t room) override;
    std::uint64_t passOver(std::uint64_t count) override;

  private:
    void feed();

    ByteSource& mDeflated;
    z_stream mStream{};
    std::array<std::uint8_t, 4096> mInput{};
    std::uint64_t mProduced = 0;
    std::uint64_t mLimit;
    bool mIsPadded = false;
    bool mHasEnded;
};

} // namespace radvex
