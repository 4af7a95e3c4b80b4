#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "files/Errors.h"
#include "host/Declarations.h"
#include "view/Reading.h"
#include "view/Server.h"

// The program behind `radvex view`, which starts it: the server of the page, with libraries that no other command
// needs, and in other processes what reads for it.
//
//     radvex-view serve LIBRARY PORT JOBS FOLDER
//     radvex-view read LIBRARY JOBS               with the socket of the server in descriptor 3

namespace radvex::view {

namespace {

int read(const std::string& library, std::size_t jobs) {
    constexpr int kSocket = 3;
    (void)::prctl(PR_SET_PDEATHSIG, SIGTERM);
    const auto host = velmora::Host::load(library, velmora::radvexDeclarations());
    answerRequests(*host, kSocket, jobs);
    return kDone;
}

/// Serves until Ctrl-C or the end of the terminal.
int serve(const std::string& library, int port, const std::string& jobs, const std::string& folder) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, number);
    }
    (void)::pthread_sigmask(SIG_BLOCK, &ends, nullptr); // by all threads; one waits for them
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    ReaderPool readers({self, "read", library, jobs}, static_cast<std::size_t>(std::stoul(jobs)));
    Server server(readers, folder, port, {});
    std::cout << server.address() << std::endl; // at once, whoever reads it
    std::thread answering([&] { server.run(); });
    int number = 0;
    (void)::sigwait(&ends, &number);
    server.stop();
    answering.join();
    return kDone;
}

int run(const std::vector<std::string>& words) {
    if (words.size() == 4 && words[1] == "read") {
        return read(words[2], static_cast<std::size_t>(std::stoul(words[3])));
    }
    if (words.size() == 6 && words[1] == "serve") {
        return serve(words[2], std::stoi(words[3]), words[4], words[5]);
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
