#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/Host.h"
#include "python/module/HostLock.h"

namespace radvex::python {

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
        const pybind11::gil_scoped_release released; // taken back after the host's lock is free
        const std::scoped_lock lock(mUse);
        freeDiscarded();
        return body(host());
    }

    /// Frees a value that an array lent to Python: at once if no call is running, else with the next one.
    void discard(std::unique_ptr<velmora::Value> value) noexcept;

    /// Unloads the library; the next use loads it again.
    void close();

    struct Account {
        long alive = 0;                        ///< objects of the host
        std::vector<std::string> violations{}; ///< what the library did wrong, as sentences
    };
    Account account();

    // A fork while another thread works would leave the new process with a lock that nobody frees, and a host half
    // changed.
    void beforeFork();
    void afterFork();

  private:
    Library() = default;
    void acquire();
    velmora::Host& host();
    void freeDiscarded() noexcept;

    HostLock mUse{};
    std::mutex mDiscard{}; ///< for the list below; nobody waits for anything else under it
    std::vector<std::unique_ptr<velmora::Value>> mDiscarded{};
    std::string mPath{};
    std::unique_ptr<velmora::Host> mHost{};
};

} // namespace radvex::python
