#include "formats/volumes/Gzip.h"

#include <unistd.h>

#include <algorithm>

namespace radvex::formats {

GzipWriter::GzipWriter(std::FILE* file) {
    constexpr unsigned kBuffer = 1U << 18;
    if (std::fflush(file) != 0) {
        return;
    }
    const int descriptor = ::dup(fileno(file)); // zlib closes the one that it is given
    mStream.reset(descriptor < 0 ? nullptr : gzdopen(descriptor, "wb1"));
    if (mStream == nullptr && descriptor >= 0) {
        (void)::close(descriptor);
    } else if (mStream != nullptr) {
        (void)gzbuffer(mStream.get(), kBuffer);
    }
}

bool GzipWriter::write(std::span<const std::byte> bytes) {
    constexpr std::size_t kLargestPart = std::size_t{1} << 30; // zlib counts in 32 bits
    while (mStream != nullptr && !bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), kLargestPart));
        if (gzwrite(mStream.get(), part.data(), static_cast<unsigned>(part.size())) != static_cast<int>(part.size())) {
            return false;
        }
        bytes = bytes.subspan(part.size());
    }
    return mStream != nullptr;
}

bool GzipWriter::finish() { return mStream != nullptr && gzclose(mStream.release()) == Z_OK; }

} // namespace radvex::formats
