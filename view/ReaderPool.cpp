#include "view/ReaderPool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

namespace radvex::view {

namespace {

constexpr int kSocketOfReader = 3;
constexpr timeval kLongestAnswer{.tv_sec = 300, .tv_usec = 0}; // a reader that is silent for longer is ended

/// The attributes and actions of a process to be started.
class Start {
  public:
    explicit Start(int socket) {
        sigset_t none;
        sigemptyset(&none);
        (void)posix_spawn_file_actions_init(&mActions);
        (void)posix_spawn_file_actions_adddup2(&mActions, socket, kSocketOfReader);
        (void)posix_spawn_file_actions_addopen(&mActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        (void)posix_spawnattr_init(&mAttributes);
        (void)posix_spawnattr_setsigmask(&mAttributes, &none); // the server waits for signals, a reader ends with them
        (void)posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~Start() {
        (void)posix_spawn_file_actions_destroy(&mActions);
        (void)posix_spawnattr_destroy(&mAttributes);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    /// @return an errno, 0 for success
    int run(pid_t& process, const std::vector<std::string>& command) const {
        std::vector<char*> words;
        words.reserve(command.size() + 1);
        for (const std::string& word : command) {
            words.push_back(const_cast<char*>(word.c_str()));
        }
        words.push_back(nullptr);
        return posix_spawn(&process, words.front(), &mActions, &mAttributes, words.data(), environ);
    }

  private:
    posix_spawn_file_actions_t mActions{};
    posix_spawnattr_t mAttributes{};
};

} // namespace

ReaderPool::ReaderPool(std::vector<std::string> command, std::size_t count)
    : mCommand(std::move(command)), mReaders(std::max<std::size_t>(1, count)) {}

ReaderPool::~ReaderPool() {
    end();
    for (Reader& reader : mReaders) {
        if (reader.process > 0) {
            (void)endOf(reader);
        }
    }
}

void ReaderPool::end() {
    const std::lock_guard lock(mMutex);
    mIsEnding = true;
    for (const Reader& reader : mReaders) {
        if (reader.process > 0) {
            (void)::kill(reader.process, SIGTERM);
        }
    }
    mIsFree.notify_all();
}

void ReaderPool::start(Reader& reader) {
    std::array<int, 2> sockets{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
        throw ReaderError(std::string("No reading process can be started: ") + std::strerror(errno) + ".");
    }
    (void)::setsockopt(sockets[0], SOL_SOCKET, SO_RCVTIMEO, &kLongestAnswer, sizeof kLongestAnswer);
    const std::lock_guard lock(mMutex);
    const int failure = mIsEnding ? ECANCELED : Start(sockets[1]).run(reader.process, mCommand);
    (void)::close(sockets[1]);
    if (failure != 0) {
        (void)::close(sockets[0]);
        reader.process = -1;
        throw ReaderError(std::string("No reading process can be started: ") + std::strerror(failure) + ".");
    }
    reader.socket = sockets[0];
}

std::string ReaderPool::endOf(Reader& reader) {
    (void)::close(reader.socket);
    pid_t process = -1;
    {
        const std::lock_guard lock(mMutex); // from here on, nobody sends it a signal
        process = std::exchange(reader.process, -1);
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    reader.socket = -1;
    if (WIFSIGNALED(status)) {
        const char* const name = sigabbrev_np(WTERMSIG(status));
        return "ended with signal " + std::to_string(WTERMSIG(status)) +
               (name == nullptr ? "" : " (SIG" + std::string(name) + ")");
    }
    return "ended with exit status " + std::to_string(WEXITSTATUS(status));
}

ReaderPool::Reader& ReaderPool::acquire() {
    std::unique_lock lock(mMutex);
    const auto isFree = [](const Reader& reader) { return !reader.isBusy; };
    mIsFree.wait(lock, [&] { return mIsEnding || std::ranges::any_of(mReaders, isFree); });
    if (mIsEnding) {
        throw ReaderError("The server has ended.");
    }
    // One that is running, if there is one.
    auto found = std::ranges::find_if(mReaders, [&](const Reader& each) { return isFree(each) && each.process > 0; });
    found = found == mReaders.end() ? std::ranges::find_if(mReaders, isFree) : found;
    found->isBusy = true;
    return *found;
}

void ReaderPool::release(Reader& reader) {
    const std::lock_guard lock(mMutex);
    reader.isBusy = false;
    mIsFree.notify_one();
}

Message ReaderPool::ask(const formats::Json& request) {
    Reader& reader = acquire();
    struct Releasing {
        ReaderPool& pool;
        Reader& reader;
        ~Releasing() { pool.release(reader); }
    } const releasing{*this, reader};
    if (reader.process < 0) {
        start(reader);
    }
    std::optional<Message> answer;
    try {
        sendMessage(reader.socket, {request, ""});
        answer = receiveMessage(reader.socket);
    } catch (const WireError&) {
        (void)::kill(reader.process, SIGKILL); // it may be silent and not gone
    }
    if (!answer) {
        throw ReaderError("The reading process " + endOf(reader) + ".");
    }
    if (answer->json.contains("error")) {
        throw ReaderError(answer->json["error"].get<std::string>());
    }
    return std::move(*answer);
}

} // namespace radvex::view
