#include "guard/ByteSource.h"

#include <algorithm>
#include <cstring>

namespace radvex {

namespace {

/// Enough for the headers before the pixels of most images.
constexpr std::size_t kFirstChunk = std::size_t{8} * 1024;

} // namespace

bool ByteSource::skipBeyondWindow(std::uint64_t count) {
    const std::size_t held = mEnd - mBegin;
    consume(held);
    mBegin = mEnd = 0;
    const std::uint64_t passed = passOver(count - held);
    mOffset += passed;
    return passed == count - held;
}

void ByteSource::refill(std::size_t wanted) {
    const std::size_t held = mEnd - mBegin;
    std::memmove(mBuffer.data(), mBuffer.data() + mBegin, held);
    mBegin = 0;
    mEnd = held;
    while (mEnd < std::min(wanted, kWindow)) {
        const std::size_t count = readOn(mBuffer.data() + mEnd, kWindow - mEnd);
        if (count == 0) {
            return;
        }
        mEnd += count;
    }
}

FileSource::FileSource(OpenFile& file) : ByteSource(0), mFile(file), mChunk(kFirstChunk) {}

std::size_t FileSource::readOn(std::uint8_t* into, std::size_t room) {
    // OpenFile remembers a failure; here it is the end of the bytes.
    const std::size_t got = mFile.read(into, std::min(room, mChunk), mNext);
    mNext += got;
    mChunk = std::min(2 * mChunk, kWindow);
    return got;
}

std::uint64_t FileSource::passOver(std::uint64_t count) {
    const std::uint64_t passed = std::min(count, mFile.size() - std::min(mNext, mFile.size()));
    mNext += passed;
    if (count > kLongSkip) {
        mChunk = kChunkAfterLongSkip;
    }
    return passed;
}

InflatingSource::InflatingSource(ByteSource& deflated, std::uint64_t limit)
    : ByteSource(deflated.offset()),
      mDeflated(deflated),
      mLimit(limit),
      mHasEnded(inflateInit2(&mStream, -MAX_WBITS) != Z_OK) {}

InflatingSource::~InflatingSource() { (void)inflateEnd(&mStream); }

void InflatingSource::feed() {
    const auto bytes = mDeflated.peek(mInput.size());
    std::copy(bytes.begin(), bytes.end(), mInput.begin());
    mDeflated.consume(bytes.size());
    mStream.next_in = mInput.data();
    mStream.avail_in = static_cast<uInt>(bytes.size());
    if (bytes.empty() && !mIsPadded) { // DCMTK adds a zero byte to every stream, and decodes it
        mInput[0] = 0;
        mStream.avail_in = 1;
        mIsPadded = true;
    }
}

std::size_t InflatingSource::readOn(std::uint8_t* into, std::size_t room) {
    mStream.next_out = into;
    mStream.avail_out = static_cast<uInt>(room);
    while (!mHasEnded && mStream.avail_out == room) {
        if (mStream.avail_in == 0) {
            feed(); // even without more input there may be more output
        }
        mHasEnded = inflate(&mStream, Z_NO_FLUSH) != Z_OK;
    }
    const std::size_t count = room - mStream.avail_out;
    mProduced += count;
    mHasEnded = mHasEnded || isOverLimit();
    return count;
}

std::uint64_t InflatingSource::passOver(std::uint64_t count) {
    if (mProduced + count > mLimit) { // DCMTK allocates the length that a value claims, even if the data is shorter
        mProduced = mLimit + 1;
        mHasEnded = true;
        return 0;
    }
    std::uint64_t passed = 0;
    while (passed < count) {
        const auto room = static_cast<std::size_t>(std::min<std::uint64_t>(count - passed, kWindow));
        const std::size_t got = readOn(scratch(), room);
        if (got == 0) {
            break;
        }
        passed += got;
    }
    return passed;
}

} // namespace radvex
