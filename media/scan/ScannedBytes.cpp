#include "media/scan/ScannedBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace radvex::media {

namespace {

constexpr std::size_t kWindow = std::size_t{16} * 1024;

} // namespace

ScannedBytes::ScannedBytes(const std::string& path) : mFile(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    struct stat status {};
    if (mFile >= 0 && (fstat(mFile, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0)) {
        close();
    }
    mSize = mFile >= 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

ScannedBytes::~ScannedBytes() { close(); }

void ScannedBytes::close() {
    if (mFile >= 0) {
        ::close(mFile);
    }
    mFile = -1;
}

const std::uint8_t* ScannedBytes::at(std::uint64_t offset, std::size_t count) {
    if (!isGood() || offset > mSize || count > mSize - offset || count > kWindow) {
        return nullptr;
    }
    const bool isThere = offset >= mStart && offset - mStart <= mWindow.size() &&
                         count <= mWindow.size() - static_cast<std::size_t>(offset - mStart);
    if (!isThere && (!fill(offset) || mWindow.size() < count)) {
        return nullptr;
    }
    return mWindow.data() + static_cast<std::size_t>(offset - mStart);
}

bool ScannedBytes::fill(std::uint64_t offset) {
    mWindow.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kWindow, mSize - offset)));
    mStart = offset;
    std::size_t length = 0;
    while (length < mWindow.size()) {
        const ssize_t got =
            pread(mFile, mWindow.data() + length, mWindow.size() - length, static_cast<off_t>(offset + length));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) { // the file became shorter, or its medium fails
            mWindow.clear();
            close();
            return false;
        }
        length += static_cast<std::size_t>(got);
    }
    return true;
}

} // namespace radvex::media
