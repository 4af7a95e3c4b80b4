#include "tests/support/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

extern char** environ;

namespace radvex::test {

Words joined(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

// Input and output go through files: no pipe can fill up and no thread is needed to empty it.
ProcessResult runProcess(const Words& arguments, const std::string& input) {
    const TemporaryFolder folder;
    const std::string in = folder.write("in", input);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    constexpr int kNew = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, folder.file("out").c_str(), kNew, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, folder.file("err").c_str(), kNew, 0600);

    Words copies = arguments;
    std::vector<char*> argv;
    for (std::string& argument : copies) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    pid_t child = 0;
    const int spawned = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int state = 0;
    if (spawned != 0 || waitpid(child, &state, 0) != child) {
        throw std::runtime_error("Cannot run " + arguments.front());
    }
    return {WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state), readFile(folder.file("out")),
            readFile(folder.file("err"))};
}

ProcessResult runRadvex(const Words& arguments, const std::string& input) {
    return runProcess(joined({RADVEX_COMMAND}, arguments), input);
}

} // namespace radvex::test
