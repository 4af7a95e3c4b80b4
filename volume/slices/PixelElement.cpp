#include "volume/slices/PixelElement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <vector>

namespace radvex::volume {

namespace {

constexpr std::size_t kLongHeader = 12; // with a VR of two letters, two bytes of nothing and the length
constexpr std::string_view kLittleTag("\xE0\x7F\x10\x00", 4);
constexpr std::string_view kBigTag("\x7F\xE0\x00\x10", 4);

/// A file that is read at offsets.
class PlainFile {
  public:
    explicit PlainFile(const std::string& path) : mFile(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        struct stat status {};
        if (mFile >= 0 && fstat(mFile, &status) == 0 && S_ISREG(status.st_mode)) {
            mSize = static_cast<std::uint64_t>(status.st_size);
        }
    }
    ~PlainFile() {
        if (mFile >= 0) {
            close(mFile);
        }
    }
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;

    std::uint64_t size() const { return mSize; }
    /// As many bytes as there are, at most those of the buffer.
    std::string_view read(std::uint64_t offset, std::vector<char>& buffer) const {
        const ssize_t count = pread(mFile, buffer.data(), buffer.size(), static_cast<off_t>(offset));
        return {buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
    }

  private:
    int mFile;
    std::uint64_t mSize = 0;
};

std::uint32_t number(std::string_view bytes, bool isBigEndian) {
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < 4; ++index) {
        const auto byte = static_cast<unsigned char>(bytes[isBigEndian ? index : 3 - index]);
        value = value << 8U | byte;
    }
    return value;
}

/// The length in a header that begins here; 0 if it is none. @param bytes  at least 12
std::uint64_t lengthAt(std::string_view bytes) {
    const bool isBigEndian = bytes.starts_with(kBigTag);
    if (!isBigEndian && !bytes.starts_with(kLittleTag)) {
        return 0;
    }
    const std::string_view vr = bytes.substr(4, 4);
    const bool isExplicit = vr == std::string_view("OW\0\0", 4) || vr == std::string_view("OB\0\0", 4);
    return number(bytes.substr(isExplicit ? 8 : 4, 4), isBigEndian);
}

/// Whether a header at one of the two offsets at which it may stand says that the value reaches the end of the file.
bool isLastElement(const PlainFile& file, std::uint64_t bytes) {
    const std::uint64_t value = bytes + bytes % 2;
    std::vector<char> buffer(kLongHeader);
    for (const std::uint64_t header : {kLongHeader, std::size_t{8}}) {
        if (file.size() >= value + header) {
            const std::string_view found = file.read(file.size() - value - header, buffer);
            if (found.size() == kLongHeader && lengthAt(found) >= bytes) {
                return true;
            }
        }
    }
    return false;
}

/// Whether any header has a length that suffices and that the file holds.
bool isAnywhere(const PlainFile& file, std::uint64_t bytes) {
    constexpr std::size_t kStep = std::size_t{1} << 20;
    std::vector<char> buffer(kStep + kLongHeader - 1);
    for (std::uint64_t start = 0; start + bytes < file.size(); start += kStep) {
        const std::string_view text = file.read(start, buffer);
        for (const std::string_view tag : {kLittleTag, kBigTag}) {
            for (std::size_t at = text.find(tag); at != std::string_view::npos; at = text.find(tag, at + 1)) {
                const std::uint64_t length = at + kLongHeader <= text.size() ? lengthAt(text.substr(at)) : 0;
                if (length >= bytes && length != 0xFFFFFFFF && start + at + 8 + length <= file.size()) {
                    return true;
                }
            }
        }
    }
    return false;
}

} // namespace

bool holdsPixels(const std::string& path, std::uint64_t bytes) {
    const PlainFile file(path);
    return file.size() == 0 || bytes == 0 || isLastElement(file, bytes) || isAnywhere(file, bytes);
}

} // namespace radvex::volume
