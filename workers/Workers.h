#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <tuple>

namespace radvex::workers {

/// The result of one item: an output, or the reason why there is none.
struct WorkResult {
    std::string output{};
    std::string error{};  ///< a sentence: what the work threw
    std::string end{};    ///< how the process ended while it worked on the item: "ended with signal 11 (SIGSEGV)"
    bool isFatal = false; ///< no item can be done, as the error says: `run` throws it

    /// Only a process that has not ended can send its result.
    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.output, self.error);
    }

    bool isDone() const { return error.empty() && end.empty(); }
    /// The error, or how the process ended, as a sentence; empty if the work was done.
    std::string problem() const { return end.empty() ? error : "the reading process " + end + "."; }
};

/// Reports what is being done, and how much of it is done.
using Progress = std::function<void(const std::string& what, std::size_t done, std::size_t total)>;
inline void withoutProgress(const std::string& /*what*/, std::size_t /*done*/, std::size_t /*total*/) {}

/// Works on many items in other processes, so that a crash loses one item and not the run.
///
/// The processes are forked from this one and share its state at that time. Each gets one item after the other, and is
/// replaced if it ends. None outlives this object or this process. Fork copies no threads, so the caller must have
/// none. Written by hand, since the thread pool of a library would not survive a crash of the work.
class Workers {
  public:
    /// Runs in another process and returns the output. What it writes to memory is lost unless the memory is shared. A
    /// std::exception becomes the error of the item; a velmora::HostError, which every other item would meet as well,
    /// is thrown by `run`.
    using Work = std::function<std::string(std::size_t item)>;
    /// Runs in this process, once for each item, in their order.
    using Receive = std::function<void(std::size_t item, const WorkResult& result)>;

    /// @param count  processes at a time; no more are started than there are items. 0: this process does the work
    Workers(std::size_t count, Work work);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Distributes the items from `first` to the one before `end`.
    /// The processes stay for the next run, with everything they have loaded; after an exception, new ones are started.
    /// @param arrive  called for each result as soon as it arrives, in any order, and before the process that sent it
    ///                gets another item; may be empty
    /// @throws velmora::HostError  the library cannot be used; the items before were received
    /// @throws std::system_error   no process can be started
    void run(std::size_t first, std::size_t end, const Receive& receive, const Receive& arrive = {});

  private:
    class Processes;

    Work mWork;
    std::unique_ptr<Processes> mProcesses;
};

/// Runs work whose crash must not end this process in a process of its own.
/// @param processes  0: this process does the work
/// @throws FileError  a sentence: what the work threw, or `name` and how the process ended
std::string workAlone(std::size_t processes, const std::string& name, const std::function<std::string()>& work);

/// Runs quick work on many items in other processes. Each process gets several items at a time, since sending an item
/// may cost more than the work itself. If a process ends, its items are repeated one by one, so that only the item that
/// ended it is charged with that.
///
/// @param processes  at a time; 0: this process does the work
/// @param work       on one item; each process gets ascending items
/// @param receive    called in this process, once for each item, in their order
/// @throws as Workers::run
void forEachInBlocks(std::size_t processes, std::size_t count, const Workers::Work& work,
                     const Workers::Receive& receive);

} // namespace radvex::workers
