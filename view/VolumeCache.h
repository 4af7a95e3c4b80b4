#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "view/Wire.h"

namespace radvex::view {

/// The volumes that were asked for last, as far as they fit into a number of bytes. May be used by several threads.
class VolumeCache {
  public:
    explicit VolumeCache(std::size_t bytes) : mLimit(bytes) {}

    std::size_t limit() const { return mLimit; }
    /// Null if it is not kept.
    std::shared_ptr<const Message> find(const std::string& key);
    /// Forgets those that were not asked for the longest, until there is room. A larger volume than all room is not
    /// kept.
    void keep(const std::string& key, std::shared_ptr<const Message> volume);

  private:
    using Entry = std::pair<std::string, std::shared_ptr<const Message>>;

    std::size_t mLimit;
    std::size_t mBytes = 0;
    std::list<Entry> mEntries{}; ///< the last one that was asked for first
    std::mutex mMutex{};
};

} // namespace radvex::view
