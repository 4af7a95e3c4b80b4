#include "workers/Workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <system_error>
#include <vector>

#include "files/Errors.h"
#include "host/Host.h"
#include "workers/Channel.h"

namespace radvex::workers {

namespace {

/// Results that wait for one before them. Beyond this no item is given out until that one has come.
constexpr std::size_t kMostHeldBytes = std::size_t{64} << 20;

/// Waits for a process of ours and says how it ended.
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

Channel::Message messageOf(const Workers::Work& work, std::size_t item) {
    try {
        return {false, {work(item), "", ""}};
    } catch (const velmora::HostError& error) {
        return {true, {"", error.what(), ""}};
    } catch (const std::exception& error) {
        return {false, {"", error.what(), ""}};
    }
}

/// The life of a worker. Ends without exit handlers and destructors, which belong to the process it is a copy of.
[[noreturn]] void serve(Channel& channel, const Workers::Work& work) noexcept {
    while (const auto item = channel.receiveItem()) {
        if (!channel.sendMessage(messageOf(work, *item))) {
            break;
        }
    }
    ::_exit(0);
}

} // namespace

/// The processes and what they have done so far of the run.
class Workers::Processes {
  public:
    Processes(std::size_t most, const Work& work) : mMost(most), mWork(work) {
        // Who started this process may have had it ignored; the ends of processes could not be told then.
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

    void dismiss();
    void giveItems();
    bool give(Worker& worker);
    bool start();
    void collect(const Receive& arrive);
    void hear(Worker& worker, const Receive& arrive);
    void forgetGone();
    void finish(std::size_t item, Channel::Message message);
    void deliver(const Receive& receive);
    bool hasWork() const { return mNext < mEnd && (mHeldBytes < kMostHeldBytes || mNext == mDue); }

    std::size_t mMost;
    const Work& mWork;
    void (*mFormerHandler)(int) = SIG_DFL;
    std::vector<Worker> mWorkers{};
    std::map<std::size_t, Channel::Message> mFinished{}; ///< not delivered yet
    std::size_t mHeldBytes = 0;
    std::size_t mEnd = 0;
    std::size_t mNext = 0; ///< first item that no process has
    std::size_t mDue = 0;  ///< first item that is not delivered
};

void Workers::Processes::dismiss() {
    for (const Worker& worker : mWorkers) {
        (void)::kill(worker.process, SIGKILL); // idle, or nobody waits for its result any more
        (void)awaitEnd(worker.process);
    }
    mWorkers.clear();
    mFinished.clear();
    mHeldBytes = 0;
}

void Workers::Processes::giveItems() {
    for (Worker& worker : mWorkers) {
        if (!worker.isBusy && hasWork() && !give(worker)) { // ended between two items, which is nobody's loss
            (void)awaitEnd(worker.process);
            worker.isGone = true;
        }
    }
    forgetGone();
    while (mWorkers.size() < mMost && hasWork() && start()) {
        (void)give(mWorkers.back());
    }
}

/// A process that ends before its first item is charged with that one, so that a run always comes to its end.
bool Workers::Processes::give(Worker& worker) {
    if (!worker.channel.sendItem(mNext) && !worker.isNew) {
        return false;
    }
    worker.isNew = false;
    worker.isBusy = true;
    worker.item = mNext++;
    return true;
}

/// False when there is room for no further process: then those that run go on alone.
bool Workers::Processes::start() {
    auto [ours, theirs] = Channel::makePair();
    const pid_t parent = ::getpid();
    mWorkers.reserve(mWorkers.size() + 1); // nothing may fail between the fork and the place where it is remembered
    const pid_t process = ::fork();
    if (process < 0 && !mWorkers.empty()) {
        return false;
    }
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), "no process can be started");
    }
    if (process == 0) {
        for (const Worker& other : mWorkers) { // else it would hold the channels of the others open
            (void)::close(other.channel.descriptor());
        }
        (void)::close(ours.descriptor());
        (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() == parent) { // it may have ended before the line above
            serve(theirs, mWork);
        }
        ::_exit(0);
    }
    mWorkers.push_back({process, std::move(ours)});
    return true;
}

void Workers::Processes::collect(const Receive& arrive) {
    std::vector<pollfd> channels;
    for (const Worker& worker : mWorkers) { // poll passes over negative descriptors
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

void Workers::Processes::hear(Worker& worker, const Receive& arrive) {
    if (!worker.channel.receiveSome()) {
        worker.isGone = true;
        finish(worker.item, {false, {"", "", awaitEnd(worker.process)}});
    } else if (auto message = worker.channel.takeMessage()) {
        worker.isBusy = false;
        if (arrive && !message->isFatal) {
            arrive(worker.item, message->result);
        }
        finish(worker.item, *std::move(message));
    }
}

void Workers::Processes::forgetGone() {
    std::erase_if(mWorkers, [](const Worker& worker) { return worker.isGone; });
}

void Workers::Processes::finish(std::size_t item, Channel::Message message) {
    mHeldBytes += message.result.output.size();
    mFinished.emplace(item, std::move(message));
}

void Workers::Processes::deliver(const Receive& receive) {
    while (!mFinished.empty() && mFinished.begin()->first == mDue) {
        const auto due = mFinished.extract(mFinished.begin());
        const Channel::Message& message = due.mapped();
        mHeldBytes -= message.result.output.size();
        ++mDue;
        if (message.isFatal) {
            throw velmora::HostError(message.result.error);
        }
        receive(due.key(), message.result);
    }
}

Workers::Workers(std::size_t count, Work work)
    : mWork(std::move(work)), mProcesses(count == 0 ? nullptr : std::make_unique<Processes>(count, mWork)) {}

Workers::~Workers() = default;

void Workers::run(std::size_t first, std::size_t end, const Receive& receive, const Receive& arrive) {
    if (mProcesses != nullptr) {
        return mProcesses->run(first, end, receive, arrive);
    }
    for (std::size_t item = first; item < end; ++item) {
        const Channel::Message message = messageOf(mWork, item);
        if (message.isFatal) {
            throw velmora::HostError(message.result.error);
        }
        if (arrive) {
            arrive(item, message.result);
        }
        receive(item, message.result);
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

} // namespace radvex::workers
