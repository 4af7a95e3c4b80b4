#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/Host.h"
#include "python/module/HostLock.h"

namespace radvex::python {

/// A value of the host that Python has borrowed.
struct Lending {
    velmora::Value value{};
    Lending* next = nullptr; ///< of those that wait to be freed
};

/// The host of this process with the library loaded into it, and the lock under which both work: neither is made for
/// several threads. Objects of the host are made and freed under it, too. It exists once in a process.
///
/// Nobody waits for this lock while holding Python's global lock, so that the two cannot block each other.
class Library {
  public:
    static Library& instance();

    /// Where Radvex.so is. It is loaded at the first use.
    void setPath(std::string path);

    /// Holds the host's lock, and Python's.
    class Use {
      public:
        Use() : mLibrary(instance()) { mLibrary.acquire(); }
        ~Use() { mLibrary.mUse.unlock(); }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        velmora::Host& host() { return mLibrary.host(); }

      private:
        Library& mLibrary;
    };

    /// Runs `body(velmora::Host&)` under the host's lock and without Python's, and returns its result. `body` must not
    /// touch Python objects. Values of the host in the result have to go into a Lent.
    template <typename Body>
    auto run(Body body) {
        Returning returning(mReturning);
        const pybind11::gil_scoped_release released; // taken back after the host's lock is free
        const std::scoped_lock lock(mUse);
        returning.begin();
        freeDiscarded();
        return body(host());
    }

    /// The same for a body without result; nothing once the interpreter ends.
    template <typename Body>
    void runUntilEnd(Body body) {
        Returning returning(mReturning);
        const pybind11::gil_scoped_release released;
        const std::scoped_lock lock(mUse);
        returning.begin();
        freeDiscarded();
        if (!mIsEnding) {
            body(host());
        }
    }

    /// Frees a value: at once if no call is running, else with the next one.
    void discard(std::unique_ptr<Lending> value) noexcept;

    /// Unloads the library; the next use loads it again.
    void close();
    /// Unloads the library when the interpreter ends. Threads that come later sleep until the process is gone: they
    /// could not get Python's lock back.
    void end();

    struct Account {
        long alive = 0;                        ///< objects of the host
        std::vector<std::string> violations{}; ///< what the library did wrong, as sentences
    };
    Account account();

    // A fork while another thread works would leave the new process with a lock that nobody frees, and a host half
    // changed.
    void beforeFork() { acquire(); }
    void afterFork() { mUse.unlock(); }

  private:
    /// Counts a thread from its getting the host's lock until it has Python's lock back.
    class Returning {
      public:
        explicit Returning(std::atomic<int>& count) : mCount(count) {}
        ~Returning() { mCount -= mIsCounted ? 1 : 0; }
        Returning(const Returning&) = delete;
        Returning& operator=(const Returning&) = delete;

        void begin() {
            mIsCounted = true;
            ++mCount;
        }

      private:
        std::atomic<int>& mCount;
        bool mIsCounted = false;
    };

    Library() = default;
    void acquire();
    velmora::Host& host();
    void freeDiscarded() noexcept;

    HostLock mUse{};
    std::atomic<int> mReturning = 0;
    std::atomic<Lending*> mDiscarded = nullptr; ///< without a lock: arrays are dropped anywhere, in a fork's hooks too
    std::string mPath{};
    std::unique_ptr<velmora::Host> mHost{};
    bool mIsEnding = false;
};

} // namespace radvex::python
