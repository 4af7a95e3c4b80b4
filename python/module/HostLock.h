#pragma once

#include <atomic>
#include <mutex>
#include <thread>

namespace radvex::python {

/// A mutex that its owner may lock again: Python code may run while arguments are converted (a path's own method, the
/// collector of garbage, the handler of a signal), and use the library. Unlike std::recursive_mutex it can be unlocked
/// by the process that a fork makes.
class HostLock {
  public:
    void lock() {
        if (!isMine()) {
            mMutex.lock();
            mOwner = std::this_thread::get_id();
        }
        ++mDepth;
    }

    bool try_lock() {
        if (!isMine()) {
            if (!mMutex.try_lock()) {
                return false;
            }
            mOwner = std::this_thread::get_id();
        }
        ++mDepth;
        return true;
    }

    void unlock() {
        if (--mDepth == 0) {
            mOwner = std::thread::id();
            mMutex.unlock();
        }
    }

  private:
    bool isMine() const { return mOwner.load() == std::this_thread::get_id(); }

    std::mutex mMutex{};
    std::atomic<std::thread::id> mOwner{};
    int mDepth = 0; ///< of the owner
};

} // namespace radvex::python
