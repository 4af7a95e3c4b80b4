#include "cli/doctor/ProgramOutput.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace radvex::cli {

namespace {

std::string readToEnd(int descriptor) {
    std::string text;
    std::array<char, 4096> block{};
    for (;;) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count > 0) {
            text.append(block.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return text;
        }
    }
}

} // namespace

std::string outputOfProgram(std::vector<std::string> words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return "";
    }
    posix_spawn_file_actions_t actions;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    (void)posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = -1;
    const bool isStarted =
        ::posix_spawn(&process, arguments.front(), &actions, nullptr, arguments.data(), environ) == 0;
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)::close(ends[1]);
    std::string text = isStarted ? readToEnd(ends[0]) : "";
    (void)::close(ends[0]);
    if (isStarted) {
        (void)::waitpid(process, nullptr, 0);
    }
    return text;
}

} // namespace radvex::cli
