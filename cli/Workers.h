#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace radvex::cli {

/// What came of one item.
struct WorkResult {
    std::string output{};
    std::string error{}; ///< a sentence; empty when the work was done
    std::string end{};   ///< "ended with signal 11 (SIGSEGV)": of the process that had the item, when it came to that
};

/// Work on many items in other processes, so that a crash costs the item at hand and not the run.
///
/// The processes are forked copies of this one and know all that it knows; they get one item after the other and are
/// replaced when they end. None outlives the run, or the process that started it. The copies come without threads, so
/// the caller must have none.
class Workers {
  public:
    /// Runs in another process. What it writes to memory stays there. A std::exception becomes the item's error, but
    /// a velmora::HostError, which no other item would be spared, becomes one of `run`.
    using Work = std::function<WorkResult(std::size_t item)>;
    /// Runs in this process, once for each item and in their order.
    using Receive = std::function<void(std::size_t item, const WorkResult& result)>;

    /// @param count  processes at a time, at least 1; no more are started than there are items
    explicit Workers(std::size_t count) : mCount(count) {}

    /// Hands out the items from 0 to itemCount - 1.
    /// @throws velmora::HostError  the library cannot be used; items before have been received
    /// @throws std::system_error   no process can be started
    void run(std::size_t itemCount, const Work& work, const Receive& receive) const;

  private:
    std::size_t mCount;
};

} // namespace radvex::cli
