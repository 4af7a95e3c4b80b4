#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace radvex::workers {

/// What came of one item: an output, or why there is none.
struct WorkResult {
    std::string output{};
    std::string error{}; ///< a sentence: what the work threw
    std::string end{};   ///< "ended with signal 11 (SIGSEGV)": the process that had the item, when it came to that

    bool isDone() const { return error.empty() && end.empty(); }
    /// The error, or how the process ended, as a sentence; empty when the work was done.
    std::string problem() const { return end.empty() ? error : "the reading process " + end + "."; }
};

/// Told how far long work has come, and what is being done.
using Progress = std::function<void(const std::string& what, std::size_t done, std::size_t total)>;
inline void withoutProgress(const std::string& /*what*/, std::size_t /*done*/, std::size_t /*total*/) {}

/// Work on many items in other processes, so that a crash costs the item at hand and not the run.
///
/// The processes are forked copies of this one and know all that it knows; they get one item after the other and are
/// replaced when they end. None outlives this object, or the process that started it. The copies come without threads,
/// so the caller must have none.
class Workers {
  public:
    /// Runs in another process and gives the output. What it writes to memory stays there unless that is shared. A
    /// std::exception becomes the item's error, but a velmora::HostError, which no other item would be spared, becomes
    /// one of `run`.
    using Work = std::function<std::string(std::size_t item)>;
    /// Runs in this process, once for each item and in their order.
    using Receive = std::function<void(std::size_t item, const WorkResult& result)>;

    /// @param count  processes at a time; no more are started than there are items. 0: all is done in this process
    Workers(std::size_t count, Work work);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Gives out the items from `first` to the one before `end`.
    /// Processes stay for the next run, with all that they have loaded; after an exception they are new.
    /// @param arrive  called for each result as soon as it is there, in any order and before the process that it came
    ///                from gets another item; may be empty
    /// @throws velmora::HostError  the library cannot be used; items before have been received
    /// @throws std::system_error   no process can be started
    void run(std::size_t first, std::size_t end, const Receive& receive, const Receive& arrive = {});

  private:
    class Processes;

    Work mWork;
    std::unique_ptr<Processes> mProcesses;
};

/// Work on one item, done by a process of its own, which it may take down. With no processes, by this one.
/// @throws FileError  a sentence: what the work threw, or `name` and how the process ended
std::string workAlone(std::size_t processes, const std::string& name, const std::function<std::string()>& work);

} // namespace radvex::workers
