#include "ByteSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace radvex {

namespace {

/// Holds the headers of an ordinary image up to its pixels.
constexpr std::size_t kFirstChunk = std::size_t{8} * 1024;
/// After a value was skipped: a few headers, and the next value may be long again.
constexpr std::size_t kChunkAfterSkip = 1024;

} // namespace

bool ByteSource::skipBeyondWindow(std::uint64_t count) {
    const std::size_t held = mEnd - mBegin;
    consume(held);
    mBegin = mEnd = 0;
    const std::uint64_t passed = passOver(count - held);
    mPosition += passed;
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

FileSource::FileSource(const std::string& path) : ByteSource(0), mChunk(kFirstChunk) {
    struct stat status {};
    // A named pipe must not even be opened: its writer would take that for the reader it waits for.
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return;
    }
    mDescriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    mSize = mDescriptor < 0 ? 0 : static_cast<std::uint64_t>(status.st_size);
}

FileSource::~FileSource() {
    if (mDescriptor >= 0) {
        close(mDescriptor);
    }
}

std::size_t FileSource::readOn(std::uint8_t* into, std::size_t room) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>({room, mChunk, mSize - mNext}));
    if (count == 0) {
        return 0;
    }
    ssize_t got = 0;
    do {
        got = pread(mDescriptor, into, count, static_cast<off_t>(mNext));
    } while (got < 0 && errno == EINTR);
    if (got <= 0) { // cut short meanwhile, or unreadable: nothing more to look at
        return 0;
    }
    mNext += static_cast<std::uint64_t>(got);
    mChunk = std::min(2 * mChunk, kWindow);
    return static_cast<std::size_t>(got);
}

std::uint64_t FileSource::passOver(std::uint64_t count) {
    const std::uint64_t passed = std::min(count, mSize - mNext);
    mNext += passed;
    mChunk = kChunkAfterSkip;
    return passed;
}

InflatingSource::InflatingSource(ByteSource& deflated, std::uint64_t limit)
    : ByteSource(deflated.position()),
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
    if (bytes.empty() && !mIsPadded) { // DCMTK ends every stream with a zero byte, which can still be decoded
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
            feed(); // without more input the stream may still hold output back
        }
        mHasEnded = inflate(&mStream, Z_NO_FLUSH) != Z_OK;
    }
    const std::size_t count = room - mStream.avail_out;
    mProduced += count;
    mHasEnded = mHasEnded || isOverLimit();
    return count;
}

std::uint64_t InflatingSource::passOver(std::uint64_t count) {
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
