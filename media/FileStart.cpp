#include "media/FileStart.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace radvex::media {

constexpr std::size_t kMarkEnd = 132;

FileStart::FileStart(const std::string& path) {
    constexpr std::size_t kEnough = 4096; // for the first elements of the meta information
    mBytes.resize(kEnough);
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const ssize_t count = file >= 0 ? read(file, mBytes.data(), mBytes.size()) : -1;
    mReason = count < 0 ? errno : 0;
    mBytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    if (file >= 0) {
        close(file);
    }
}

bool FileStart::hasMark() const {
    const std::string_view text(reinterpret_cast<const char*>(mBytes.data()), mBytes.size());
    return text.size() >= kMarkEnd && text.substr(kMarkEnd - 4, 4) == "DICM";
}

bool FileStart::mayBeBareDataset() const {
    constexpr std::size_t kElementHeader = 8;
    const auto isFirst = [](unsigned number) { return number == 2 || number == 8; };
    return mBytes.size() >= kElementHeader &&
           (isFirst(mBytes[0] + 256U * mBytes[1]) || isFirst(256U * mBytes[0] + mBytes[1]));
}

bool FileStart::isDirectory() const {
    // The meta information is Explicit VR Little Endian (PS3.10 7.1). The length of a UI value has two bytes.
    constexpr std::string_view kClassElement("\x02\x00\x02\x00UI", 6);
    constexpr std::string_view kDirectoryClass = "1.2.840.10008.1.3.10";
    constexpr std::size_t kLengthSize = 2;
    const std::string_view text(reinterpret_cast<const char*>(mBytes.data()), mBytes.size());
    const std::size_t offset = hasMark() ? text.find(kClassElement, kMarkEnd) : std::string_view::npos;
    return offset != std::string_view::npos &&
           text.substr(offset + kClassElement.size() + kLengthSize).starts_with(kDirectoryClass);
}

} // namespace radvex::media
