#include "workers/Workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <map>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "files/Errors.h"
#include "host/Host.h"
#include "workers/Channel.h"
#include "workers/Parcel.h"

namespace radvex::workers {

namespace {

/// Limit for results that wait for an earlier one. Beyond it, no item is given out until the earlier one has arrived.
constexpr std::size_t kMostHeldBytes = std::size_t{64} << 20;

constexpr std::size_t kMostItemsInBlock = 16;
/// Several blocks for each process, so that none is idle for long at the end.
constexpr std::size_t kBlocksForEach = 4;

/// Waits for a child process and returns how it ended.
std::string awaitEnd(pid_t process) {
    int state = 0;
    pid_t found = 0;
    do {
        found = ::waitpid(process, &state, 0);
    } while (found < 0 && errno == EINTR);
    if (found == process && WIFSIGNALED(state)) {
        const int number = WTERMSIG(state);
        const char* name = sigabbrev_np(number);
        return "ended with signal " + std::to_string(number) +
               (name == nullptr ? std::string() : std::string(" (SIG") + name + ")");
    }
    return found == process ? "ended with exit status " + std::to_string(WEXITSTATUS(state)) : "ended";
}

WorkResult resultOf(const Workers::Work& work, std::size_t item) {
    try {
        return {.output = work(item)};
    } catch (const velmora::HostError& error) {
        return {.error = error.what(), .isFatal = true};
    } catch (const std::exception& error) {
        return {.error = error.what()};
    }
}

const WorkResult& throwIfFatal(const WorkResult& result) {
    if (result.isFatal) {
        throw velmora::HostError(result.error);
    }
    return result;
}

/// The main loop of a worker. It ends without exit handlers and destructors, which belong to the parent process.
[[noreturn]] void serve(Channel& channel, const Workers::Work& work) noexcept {
    while (const auto item = channel.receiveItem()) {
        if (!channel.sendResult(resultOf(work, *item))) {
            break;
        }
    }
    ::_exit(0);
}

} // namespace

/// The processes, and the state of the run.
class Workers::Processes {
  public:
    Processes(std::size_t most, const Work& work) : mMost(most), mWork(work) {
        // If SIGCHLD is ignored, as this process may have inherited it, the exit status of children is lost.
        mFormerHandler = std::signal(SIGCHLD, SIG_DFL);
    }
    ~Processes() {
        dismiss();
        (void)std::signal(SIGCHLD, mFormerHandler);
    }
    Processes(const Processes&) = delete;
    Processes& operator=(const Processes&) = delete;

    void run(std::size_t first, std::size_t end, const Receive& receive, const Receive& arrive) {
        mNext = mDue = first;
        mEnd = end;
        try {
            while (mDue < mEnd) {
                giveItems();
                collect(arrive);
                deliver(receive);
            }
        } catch (...) {
            dismiss();
            throw;
        }
    }

  private:
    struct Worker {
        pid_t process;
        Channel channel;
        std::size_t item = 0;
        bool isBusy = false;
        bool isNew = true;
        bool isGone = false;
    };

    void dismiss() {
        for (const Worker& worker : mWorkers) {
            (void)::kill(worker.process, SIGKILL); // idle, or its result is no longer wanted
            (void)awaitEnd(worker.process);
        }
        mWorkers.clear();
        mFinished.clear();
        mHeldBytes = 0;
    }

    void giveItems() {
        for (Worker& worker : mWorkers) {
            if (!worker.isBusy && hasWork() && !give(worker)) { // ended between two items: nothing is lost
                (void)awaitEnd(worker.process);
                worker.isGone = true;
            }
        }
        forgetGone();
        while (mWorkers.size() < mMost && hasWork() && start()) {
            (void)give(mWorkers.back());
        }
    }

    /// If a process ends before its first item, that item is charged with it, so that a run always terminates.
    bool give(Worker& worker) {
        if (!worker.channel.sendItem(mNext) && !worker.isNew) {
            return false;
        }
        worker.isNew = false;
        worker.isBusy = true;
        worker.item = mNext++;
        return true;
    }

    /// False if the system allows no further process: the running ones continue alone.
    bool start() {
        auto [ours, theirs] = Channel::makePair();
        const pid_t parent = ::getpid();
        mWorkers.reserve(mWorkers.size() + 1); // so that nothing can fail after the fork
        const pid_t process = ::fork();
        if (process < 0 && !mWorkers.empty()) {
            return false;
        }
        if (process < 0) {
            throw std::system_error(errno, std::generic_category(), "no process can be started");
        }
        if (process == 0) {
            for (const Worker& other : mWorkers) { // otherwise it would keep the channels of the others open
                (void)::close(other.channel.descriptor());
            }
            (void)::close(ours.descriptor());
            (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::getppid() == parent) { // the parent may have ended before the call above
                serve(theirs, mWork);
            }
            ::_exit(0);
        }
        mWorkers.push_back({process, std::move(ours)});
        return true;
    }

    void collect(const Receive& arrive) {
        std::vector<pollfd> channels;
        for (const Worker& worker : mWorkers) { // poll skips negative descriptors
            channels.push_back({worker.isBusy ? worker.channel.descriptor() : -1, POLLIN, 0});
        }
        if (::poll(channels.data(), channels.size(), -1) < 0) {
            if (errno == EINTR) {
                return;
            }
            throw std::system_error(errno, std::generic_category(), "processes cannot be waited for");
        }
        for (std::size_t index = 0; index < channels.size(); ++index) {
            if (channels[index].revents != 0) {
                hear(mWorkers[index], arrive);
            }
        }
        forgetGone();
    }

    void hear(Worker& worker, const Receive& arrive) {
        if (!worker.channel.receiveSome()) {
            worker.isGone = true;
            finish(worker.item, {.end = awaitEnd(worker.process)});
        } else if (auto result = worker.channel.takeResult()) {
            worker.isBusy = false;
            if (arrive && !result->isFatal) {
                arrive(worker.item, *result);
            }
            finish(worker.item, *std::move(result));
        }
    }

    void forgetGone() {
        std::erase_if(mWorkers, [](const Worker& worker) { return worker.isGone; });
    }

    void finish(std::size_t item, WorkResult result) {
        mHeldBytes += result.output.size();
        mFinished.emplace(item, std::move(result));
    }

    void deliver(const Receive& receive) {
        while (!mFinished.empty() && mFinished.begin()->first == mDue) {
            const auto due = mFinished.extract(mFinished.begin());
            mHeldBytes -= due.mapped().output.size();
            ++mDue;
            receive(due.key(), throwIfFatal(due.mapped()));
        }
    }

    bool hasWork() const { return mNext < mEnd && (mHeldBytes < kMostHeldBytes || mNext == mDue); }

    std::size_t mMost;
    const Work& mWork;
    void (*mFormerHandler)(int) = SIG_DFL;
    std::vector<Worker> mWorkers{};
    std::map<std::size_t, WorkResult> mFinished{}; ///< finished, but not delivered yet
    std::size_t mHeldBytes = 0;
    std::size_t mEnd = 0;
    std::size_t mNext = 0; ///< first item that was not given to a process
    std::size_t mDue = 0;  ///< first item that was not delivered
};

Workers::Workers(std::size_t count, Work work)
    : mWork(std::move(work)), mProcesses(count == 0 ? nullptr : std::make_unique<Processes>(count, mWork)) {}

Workers::~Workers() = default;

void Workers::run(std::size_t first, std::size_t end, const Receive& receive, const Receive& arrive) {
    if (mProcesses != nullptr) {
        return mProcesses->run(first, end, receive, arrive);
    }
    for (std::size_t item = first; item < end; ++item) {
        const WorkResult result = resultOf(mWork, item);
        throwIfFatal(result);
        if (arrive) {
            arrive(item, result);
        }
        receive(item, result);
    }
}

std::string workAlone(std::size_t processes, const std::string& name, const std::function<std::string()>& work) {
    std::string output;
    Workers worker(processes == 0 ? 0 : 1, [&](std::size_t) { return work(); });
    worker.run(0, 1, [&](std::size_t, const WorkResult& result) {
        if (!result.isDone()) {
            throw FileError((result.end.empty() ? "" : name + ": ") + result.problem());
        }
        output = result.output;
    });
    return output;
}

void forEachInBlocks(std::size_t processes, std::size_t count, const Workers::Work& work,
                     const Workers::Receive& receive) {
    const std::size_t size =
        std::clamp<std::size_t>(count / std::max<std::size_t>(1, processes * kBlocksForEach), 1, kMostItemsInBlock);
    if (processes == 0 || size == 1) {
        Workers(processes, work).run(0, count, receive);
        return;
    }
    const auto endOf = [&](std::size_t block) { return std::min(count, (block + 1) * size); };
    Workers blocks(processes, [&](std::size_t block) {
        std::vector<WorkResult> results;
        for (std::size_t item = block * size; item < endOf(block); ++item) {
            results.push_back(throwIfFatal(resultOf(work, item)));
        }
        return toParcel(results);
    });
    Workers single(1, work);
    blocks.run(0, (count + size - 1) / size, [&](std::size_t block, const WorkResult& result) {
        if (!result.end.empty()) {
            single.run(block * size, endOf(block), receive);
            return;
        }
        std::size_t item = block * size;
        const auto results = fromParcel<std::vector<WorkResult>>(result.output);
        if (results.size() != endOf(block) - item) {
            throw std::runtime_error("A process sent an unexpected number of results.");
        }
        for (const WorkResult& one : results) {
            receive(item++, one);
        }
    });
}

} // namespace radvex::workers
