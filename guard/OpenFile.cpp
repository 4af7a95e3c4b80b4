#include "guard/OpenFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace radvex {

namespace {

// No numbers of the system.
constexpr int kCutShort = -1;
constexpr int kPipe = -2;

} // namespace

OpenFile::OpenFile(const std::string& path)
    : mOwnBuffers(std::make_unique<FileBuffers>()), mBuffers(*mOwnBuffers), mPath(path == "-" ? "./-" : path) {
    open();
}

OpenFile::OpenFile(const std::string& path, FileBuffers& buffers)
    : mBuffers(buffers), mPath(path == "-" ? "./-" : path) {
    open();
}

void OpenFile::open() {
    struct stat status {};
    if (stat(mPath.c_str(), &status) != 0) {
        mOpenError = errno;
        return;
    }
    // A pipe must not even be opened: a program that waits to write into it would take us for its reader.
    if (!S_ISREG(status.st_mode)) {
        mOpenError = S_ISFIFO(status.st_mode) ? kPipe : 0;
        return;
    }
    mDescriptor = ::open(mPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    mOpenError = isOpen() ? 0 : errno;
    mSize = isOpen() ? static_cast<std::uint64_t>(status.st_size) : 0;
}

OpenFile::~OpenFile() {
    if (isOpen()) {
        close(mDescriptor);
    }
}

std::string OpenFile::reasonNotOpen() const {
    if (mOpenError == kPipe) {
        return "it is a pipe, and a file is needed";
    }
    return mOpenError != 0 ? std::system_category().message(mOpenError) : "";
}

std::size_t OpenFile::read(void* into, std::size_t count, std::uint64_t offset) {
    auto& head = mBuffers.head;
    auto* target = static_cast<std::uint8_t*>(into);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(count, mSize - std::min(offset, mSize)));
    if (mHeadLength == 0 && offset < head.size() && wanted > 0) {
        mHeadLength =
            readDirectly(head.data(), static_cast<std::size_t>(std::min<std::uint64_t>(head.size(), mSize)), 0);
    }
    std::size_t done = 0;
    if (offset < mHeadLength) {
        done = std::min<std::size_t>(wanted, mHeadLength - static_cast<std::size_t>(offset));
        std::memcpy(target, &head[static_cast<std::size_t>(offset)], done);
    }
    return done + (done < wanted ? readDirectly(target + done, wanted - done, offset + done) : 0);
}

std::size_t OpenFile::readDirectly(std::uint8_t* into, std::size_t count, std::uint64_t offset) {
    std::size_t done = 0;
    while (done < count && !hasFailed()) {
        const ssize_t got = pread(mDescriptor, into + done, count - done, static_cast<off_t>(offset + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0) { // cut short since it was opened
            mError = kCutShort;
        } else if (errno != EINTR) {
            mError = errno;
        }
    }
    return done;
}

std::string OpenFile::failure() const {
    if (mError == kCutShort) {
        return "the file became shorter while it was read";
    }
    return hasFailed() ? std::system_category().message(mError) : "";
}

} // namespace radvex
