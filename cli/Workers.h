#pragma once

#include <cstddef>
#include <functional>
#include <memory>
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
/// replaced when they end. None outlives this object, or the process that started it. The copies come without threads,
/// so the caller must have none.
class Workers {
  public:
    /// Runs in another process. What it writes to memory stays there unless that is shared. A std::exception becomes
    /// the item's error, but a velmora::HostError, which no other item would be spared, becomes one of `run`.
    using Work = std::function<WorkResult(std::size_t item)>;
    /// Runs in this process, once for each item and in their order.
    using Receive = std::function<void(std::size_t item, const WorkResult& result)>;

    /// @param count  processes at a time; no more are started than there are items. 0: all is done in this process
    Workers(std::size_t count, Work work);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Hands out the items from `first` to the one before `end`.
    /// @param arrive  called for each result as soon as it is there, in any order and before the process that it came
    ///                from gets another item; may be empty Processes stay for the next run, with all that they
    /// have loaded; after an exception they are new.
    /// @throws velmora::HostError  the library cannot be used; items before have been received
    /// @throws std::system_error   no process can be started
    void run(std::size_t first, std::size_t end, const Receive& receive, const Receive& arrive = {});

  private:
    class Crew;

    Work mWork;
    std::unique_ptr<Crew> mCrew;
};

} // namespace radvex::cli
