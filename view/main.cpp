#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "files/EndSignals.h"
#include "files/Errors.h"
#include "host/Declarations.h"
#include "view/Reading.h"
#include "view/Server.h"

// The program behind `radvex view`, which starts it: the server of the page, with libraries that no other command
// needs, and in other processes what reads for it.
//
//     radvex-view serve LIBRARY PORT JOBS MEBIBYTES OPENS PAGE FOLDER
//                       PORT 0: any; OPENS 1: in the browser; PAGE: its folder, empty for the one of this program
//     radvex-view read LIBRARY JOBS
//                       with the socket of the server in descriptor 3

namespace radvex::view {

namespace {

std::size_t numberOf(const std::string& word) { return static_cast<std::size_t>(std::stoull(word)); }

int read(const std::string& library, std::size_t jobs) {
    constexpr int kSocket = 3;
    (void)::prctl(PR_SET_PDEATHSIG, SIGTERM);
    files::removeFoldersOnEndSignals();
    const auto host = velmora::Host::load(library, velmora::radvexDeclarations());
    answerRequests(*host, kSocket, jobs);
    return kDone;
}

/// Opens the page in the browser that the user has chosen. Without one, the address was printed.
void openInBrowser(const std::string& address) {
    std::string program = "xdg-open";
    std::string argument = address;
    std::vector<char*> words{program.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t none;
    sigemptyset(&none);
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    (void)posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    (void)posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setsigmask(&attributes, &none);
    (void)posix_spawnattr_setpgroup(&attributes, 0); // Ctrl-C ends the server, not the browser
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    pid_t process = -1;
    (void)::posix_spawnp(&process, words.front(), &actions, &attributes, words.data(), environ);
    (void)posix_spawn_file_actions_destroy(&actions);
    (void)posix_spawnattr_destroy(&attributes);
}

struct ServerOptions {
    std::string library{};
    int port = 0;
    std::size_t jobs = 1;
    std::size_t memory = 0; ///< bytes
    bool opens = false;
    std::string page{};
    std::string folder{};
};

/// Serves until Ctrl-C or the end of the terminal.
int serve(const ServerOptions& options) {
    constexpr std::size_t kMoreReaders = 2; // a series and a volume keep one each for a while, and pictures go on
    sigset_t ends;
    sigemptyset(&ends);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, number);
    }
    (void)::pthread_sigmask(SIG_BLOCK, &ends, nullptr); // by all threads; one waits for them
    const std::string page = options.page.empty() ? pageFolder() : options.page;
    if (page.empty()) {
        throw FileError("This program was built without its page, because npm was not there. Install npm, and build it "
                        "again; radvex tree, image and volume show the same from the command line.");
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    ReaderPool readers({self, "read", options.library, std::to_string(options.jobs)}, options.jobs + kMoreReaders);
    Answers answers(readers, options.folder, options.memory);
    Server server(answers, options.port, loadPage(page));
    std::cout << server.address() << std::endl; // at once, whoever reads it
    if (options.opens) {
        openInBrowser(server.address());
    }
    std::thread answering([&] { server.run(); });
    int number = 0;
    (void)::sigwait(&ends, &number);
    server.stop();
    readers.end(); // who waits for an answer gets none
    answering.join();
    return kDone;
}

int run(const std::vector<std::string>& words) {
    if (words.size() == 4 && words[1] == "read") {
        return read(words[2], numberOf(words[3]));
    }
    if (words.size() == 9 && words[1] == "serve") {
        constexpr std::size_t kMebibyte = 1 << 20;
        return serve({.library = words[2],
                      .port = std::stoi(words[3]),
                      .jobs = numberOf(words[4]),
                      .memory = numberOf(words[5]) * kMebibyte,
                      .opens = words[6] == "1",
                      .page = words[7],
                      .folder = words[8]});
    }
    throw UsageError("this program is started by radvex view.");
}

} // namespace

} // namespace radvex::view

int main(int argc, char** argv) {
    try {
        return radvex::view::run({argv, argv + argc});
    } catch (const radvex::Error& error) {
        std::cerr << "radvex: " << error.what() << '\n';
        return error.exitStatus();
    } catch (const std::exception& error) {
        std::cerr << "radvex: " << error.what() << '\n';
        return radvex::kRefused;
    }
}
