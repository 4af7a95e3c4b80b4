#include "view/VolumeCache.h"

#include <algorithm>

namespace radvex::view {

std::shared_ptr<const Message> VolumeCache::find(const std::string& key) {
    const std::lock_guard lock(mMutex);
    const auto found = std::ranges::find(mEntries, key, &Entry::first);
    if (found == mEntries.end()) {
        return nullptr;
    }
    mEntries.splice(mEntries.begin(), mEntries, found);
    return found->second;
}

void VolumeCache::keep(const std::string& key, std::shared_ptr<const Message> volume) {
    const std::size_t bytes = volume->body.size();
    const std::lock_guard lock(mMutex);
    const bool isKept = std::ranges::find(mEntries, key, &Entry::first) != mEntries.end();
    if (isKept || bytes > mLimit) { // two may have asked for it at the same time
        return;
    }
    while (mBytes > mLimit - bytes) {
        mBytes -= mEntries.back().second->body.size();
        mEntries.pop_back();
    }
    mEntries.emplace_front(key, std::move(volume));
    mBytes += bytes;
}

} // namespace radvex::view
