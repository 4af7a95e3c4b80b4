#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <zlib.h>

#include "guard/OpenFile.h"

namespace radvex {

/// Bytes of a file in order, through a small window: what is skipped is not read where that can be helped.
class ByteSource {
  public:
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    /// The most bytes that one peek can show. Small enough for the stack: for a block of this size, the
    /// allocator would first put the heap in order, once a file.
    static constexpr std::size_t kWindow = std::size_t{16} * 1024;

    /// Bytes from the beginning of the file to the next one; inflated bytes count as if they stood in the file.
    std::uint64_t position() const { return mPosition; }

    /// The next bytes without moving on: fewer than wanted only when no more are left.
    std::span<const std::uint8_t> peek(std::size_t wanted) {
        if (mEnd - mBegin < wanted) {
            refill(wanted);
        }
        return {mBuffer.data() + mBegin, std::min(wanted, mEnd - mBegin)};
    }

    /// Moves over bytes that a peek has shown.
    void consume(std::size_t count) {
        mBegin += count;
        mPosition += count;
    }

    /// Moves on. @return false when the bytes end before; the position is then at the end
    bool skip(std::uint64_t count) {
        if (count > mEnd - mBegin) {
            return skipBeyondWindow(count);
        }
        consume(static_cast<std::size_t>(count));
        return true;
    }

  protected:
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the window is written before it is read
    explicit ByteSource(std::uint64_t position) : mPosition(position) {}

    /// Puts at most `room` bytes that follow what was read so far. @return their number, 0 at the end
    virtual std::size_t readOn(std::uint8_t* into, std::size_t room) = 0;
    /// Passes bytes that follow what was read so far. @return their number, less than `count` at the end
    virtual std::uint64_t passOver(std::uint64_t count) = 0;

    /// The window, for use while nothing in it is unread.
    std::uint8_t* scratch() { return mBuffer.data(); }

  private:
    void refill(std::size_t wanted);
    bool skipBeyondWindow(std::uint64_t count);

    std::array<std::uint8_t, kWindow> mBuffer;
    std::size_t mBegin = 0; ///< first unread byte of the window
    std::size_t mEnd = 0;
    std::uint64_t mPosition;
};

/// A file from its beginning. Reads little at first and after a skip, then more and more.
class FileSource : public ByteSource {
  public:
    /// The file has to outlive this. One that is not open is a source without bytes.
    explicit FileSource(OpenFile& file);

  protected:
    std::size_t readOn(std::uint8_t* into, std::size_t room) override;
    std::uint64_t passOver(std::uint64_t count) override;

  private:
    OpenFile& mFile;
    std::uint64_t mNext = 0; ///< offset of the first byte that is not in the window
    std::size_t mChunk;
};

/// The rest of another source, inflated (a raw deflate stream, as DICOM has it). Never holds more than the window.
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
