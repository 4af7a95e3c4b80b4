#include "guard/OpenFile.h"

#include <algorithm>
#include <cstring>

namespace radvex {

OpenFile::OpenFile(const std::string& path)
    : mOwnBuffers(std::make_unique<FileBuffers>()),
      mBuffers(*mOwnBuffers),
      mSource(std::make_shared<SourceFile>(path)) {}

OpenFile::OpenFile(const std::string& path, FileBuffers& buffers)
    : mBuffers(buffers), mSource(std::make_shared<SourceFile>(path)) {}

std::size_t OpenFile::read(void* into, std::size_t count, std::uint64_t offset) {
    auto& head = mBuffers.head;
    auto* target = static_cast<std::uint8_t*>(into);
    if (mHeadLength == 0 && offset < std::min<std::uint64_t>(head.size(), size()) && count > 0) {
        mHeadLength = mSource->read(head.data(), head.size(), 0);
    }
    std::size_t done = 0;
    if (offset < mHeadLength) {
        done = std::min(count, mHeadLength - static_cast<std::size_t>(offset));
        std::memcpy(target, &head[static_cast<std::size_t>(offset)], done);
    }
    return done < count ? done + mSource->read(target + done, count - done, offset + done) : done;
}

} // namespace radvex
