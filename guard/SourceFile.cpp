#include "guard/SourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

namespace radvex {

namespace {

// No numbers of the system.
constexpr int kEndsWhileRead = -1;
constexpr int kPipe = -2;
constexpr int kIsShorter = -3;
constexpr int kIsChanged = -4;
constexpr int kIsAnother = -5;

std::string reasonOf(int error) {
    switch (error) {
    case 0: return "";
    case kEndsWhileRead: return "the file became shorter while it was read";
    case kPipe: return "it is a pipe, and a file is needed";
    case kIsShorter: return "the file became shorter after it was opened";
    case kIsChanged: return "the file was changed after it was opened";
    case kIsAnother: return "another file was put in its place after it was opened";
    default: return std::system_category().message(error);
    }
}

bool isOther(const timespec& left, const timespec& right) {
    return left.tv_sec != right.tv_sec || left.tv_nsec != right.tv_nsec;
}

bool isAfter(const timespec& left, const timespec& right) {
    return left.tv_sec != right.tv_sec ? left.tv_sec > right.tv_sec : left.tv_nsec > right.tv_nsec;
}

} // namespace

SourceFile::SourceFile(const std::string& path) : mPath(path == "-" ? "./-" : path) {
    open();
    struct stat status {};
    if (isOpen() && fstat(mDescriptor, &status) == 0) {
        mSize = static_cast<std::uint64_t>(status.st_size);
        mDevice = status.st_dev;
        mInode = status.st_ino;
        mLinks = status.st_nlink;
        mModified = status.st_mtim;
        mChanged = status.st_ctim;
    }
}

void SourceFile::open() {
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
    if (isOpen() && (fstat(mDescriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(); // it was put in the place of a file meanwhile
    }
}

void SourceFile::close() {
    if (isOpen()) {
        ::close(mDescriptor);
        mDescriptor = -1;
    }
}

std::string SourceFile::reasonNotOpen() const { return reasonOf(mOpenError); }

std::string SourceFile::failure() const { return reasonOf(mError); }

bool SourceFile::isAt(const std::string& path) const {
    struct stat status {};
    return stat(path == "-" ? "./-" : path.c_str(), &status) == 0 && status.st_dev == mDevice &&
           status.st_ino == mInode;
}

std::size_t SourceFile::read(void* into, std::size_t count, std::uint64_t offset) {
    auto* target = static_cast<std::uint8_t*>(into);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(count, mSize - std::min(offset, mSize)));
    std::size_t done = 0;
    while (done < wanted && !hasFailed()) {
        const ssize_t got = pread(mDescriptor, target + done, wanted - done, static_cast<off_t>(offset + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0) { // cut short since it was opened
            mError = kEndsWhileRead;
        } else if (errno != EINTR) {
            mError = errno;
        }
    }
    return done;
}

std::size_t SourceFile::readUnchanged(void* into, std::size_t count, std::uint64_t offset) {
    if (!isUnchanged()) {
        return 0;
    }
    const std::size_t done = read(into, count, offset);
    if (done < count && !hasFailed()) {
        mError = kIsShorter;
    }
    return isUnchanged() ? done : 0; // it may have been written to meanwhile
}

bool SourceFile::isUnchanged() {
    if (!isOpen()) {
        open();
        if (!isOpen()) {
            mError = mOpenError != 0 ? mOpenError : kIsAnother;
            return false;
        }
    }
    struct stat status {};
    if (fstat(mDescriptor, &status) != 0) {
        mError = errno;
    } else if (status.st_dev != mDevice || status.st_ino != mInode) {
        mError = kIsAnother;
    } else if (static_cast<std::uint64_t>(status.st_size) < mSize) {
        mError = kIsShorter;
    } else if (static_cast<std::uint64_t>(status.st_size) != mSize || isOther(status.st_mtim, mModified)) {
        mError = kIsChanged;
    } else if (isOther(status.st_ctim, mChanged) && status.st_nlink == mLinks && isAt(mPath)) {
        mError = kIsChanged; // by somebody who put its time of modification back
    }
    if (mError == kIsAnother) {
        close(); // the file that was read may come back
    }
    return !hasFailed();
}

void SourceFile::waitForNextTick() const {
    constexpr int kMostTicks = 20; // a time of modification may lie in the future
    for (int tick = 0; tick < kMostTicks; ++tick) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME_COARSE, &now);                         // the clock that files are stamped with
        if (isAfter(now, mModified) || mModified.tv_sec > now.tv_sec + 1) { // or it was stamped by another clock
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace radvex
