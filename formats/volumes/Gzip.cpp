#include "formats/volumes/Gzip.h"

#include <algorithm>

namespace radvex::formats {

namespace {

constexpr std::size_t kOutputSize = std::size_t{1} << 18;
constexpr std::size_t kLargestInput = std::size_t{1} << 30; // zlib counts in 32 bits

} // namespace

GzipWriter::GzipWriter(std::FILE* file) : mFile(file), mOutput(kOutputSize) {
    constexpr int kGzip = 15 + 16; // largest window, gzip's header and not zlib's
    constexpr int kMemory = 8;
    mIsOpen = deflateInit2(&mStream, Z_BEST_SPEED, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) == Z_OK;
}

GzipWriter::~GzipWriter() {
    if (mIsOpen) {
        deflateEnd(&mStream);
    }
}

bool GzipWriter::write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), kLargestInput));
        mStream.next_in = reinterpret_cast<const Bytef*>(part.data());
        mStream.avail_in = static_cast<uInt>(part.size());
        if (!run(Z_NO_FLUSH)) {
            return false;
        }
        bytes = bytes.subspan(part.size());
    }
    return mIsOpen;
}

bool GzipWriter::finish() { return run(Z_FINISH); }

bool GzipWriter::run(int flush) {
    if (!mIsOpen) {
        return false;
    }
    do {
        mStream.next_out = mOutput.data();
        mStream.avail_out = static_cast<uInt>(mOutput.size());
        if (deflate(&mStream, flush) == Z_STREAM_ERROR) {
            return false;
        }
        const std::size_t made = mOutput.size() - mStream.avail_out;
        if (std::fwrite(mOutput.data(), 1, made, mFile) != made) {
            return false;
        }
    } while (mStream.avail_out == 0);
    return true;
}

} // namespace radvex::formats
