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
#include <utility>
#include <vector>

#include "files/EndSignals.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/Text.h"
#include "host/Declarations.h"
#include "view/Reading.h"
#include "view/SavedPage.h"
#include "view/Server.h"
#include "view/StudyReport.h"

// The program behind `radvex view`, which starts it: the server of the page, with libraries that no other command
// needs, and in other processes what reads for it.
//
//     radvex-view MODE LIBRARY JOBS SERIES FOLDER ...    SERIES: a regular expression on SeriesInstanceUID
//         serve ... PORT MEBIBYTES PLACE PAGE            PORT 0: any; MEBIBYTES of volumes; PLACE: "browser" is opened,
//                                                        "frame" of another page, until the standard input ends, or
//                                                        "none"; PAGE: its folder, empty for the one of this program
//         save ... OUT FORCE MEBIBYTES PAGE              of the file; FORCE 1: it may replace another one
//         report ... OUT FORCE
//     radvex-view page                                   prints the folder of the page, if there is one
//     radvex-view read LIBRARY JOBS                      with the socket of the server in descriptor 3

namespace radvex::view {

namespace {

std::size_t numberOf(const std::string& word) { return static_cast<std::size_t>(std::stoull(word)); }

int answerServer(const std::string& library, std::size_t jobs) {
    constexpr int kSocket = 3;
    (void)::prctl(PR_SET_PDEATHSIG, SIGTERM);
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

constexpr std::size_t kMebibyte = 1 << 20;

/// The words of the command line.
class Words {
  public:
    explicit Words(std::vector<std::string> words) : mWords(std::move(words)) {}

    const std::string& mode() const { return mWords.at(1); }
    const std::string& library() const { return mWords.at(2); }
    const std::string& jobs() const { return mWords.at(3); }
    const std::string& series() const { return mWords.at(4); }
    const std::string& folder() const { return mWords.at(5); }
    /// Of those that the mode has.
    const std::string& own(std::size_t index) const { return mWords.at(6 + index); }
    bool isMode(const std::string& name, std::size_t count) const {
        return mWords.size() == count && mWords.at(1) == name;
    }

  private:
    std::vector<std::string> mWords;
};

/// The processes that read, and what they say about the folder.
class Source {
  public:
    explicit Source(const Words& words, std::size_t memory)
        : mReaders({std::filesystem::read_symlink("/proc/self/exe").string(), "read", words.library(), words.jobs()},
                   numberOf(words.jobs()) + kMoreReaders),
          mAnswers(mReaders, {words.folder(), words.series()}, memory) {}

    Answers& answers() { return mAnswers; }
    /// Who waits for an answer gets none.
    void end() { mReaders.end(); }

  private:
    static constexpr std::size_t kMoreReaders = 2; // a series and a volume keep one each, and pictures go on

    ReaderPool mReaders;
    Answers mAnswers;
};

std::vector<Asset> pageOf(const std::string& folder) {
    const std::string page = folder.empty() ? pageFolder() : folder;
    if (page.empty()) {
        throw FileError("This program was built without its page, because npm was not there. Install npm, and build it "
                        "again; radvex tree, image and volume show the same from the command line.");
    }
    return loadPage(page);
}

/// Ends this process like Ctrl-C when the program at the other end of the standard input has gone.
void endWithInput() {
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
    (void)::kill(::getpid(), SIGINT);
}

/// Serves until Ctrl-C or the end of the terminal.
int serve(const Words& words) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, number);
    }
    (void)::pthread_sigmask(SIG_BLOCK, &ends, nullptr); // by all threads; one waits for them
    std::vector<Asset> page = pageOf(words.own(3));
    Source source(words, numberOf(words.own(1)) * kMebibyte);
    const bool isFramed = words.own(2) == "frame";
    Server server(source.answers(), std::stoi(words.own(0)), std::move(page), isFramed);
    std::cout << server.address() << std::endl; // at once, whoever reads it
    if (words.own(2) == "browser") {
        openInBrowser(server.address());
    }
    if (isFramed) {
        std::thread(endWithInput).detach();
    }
    std::thread answering([&] { server.run(); });
    int number = 0;
    (void)::sigwait(&ends, &number);
    server.stop();
    source.end();
    answering.join();
    return kDone;
}

files::Output outputOf(const Words& words) {
    return {words.own(0), words.own(1) == "1" ? files::Existing::MayBeReplaced : files::Existing::Stays};
}

/// Says that the page lacks files, which it names or counts itself.
int statusOf(Answers& answers) {
    const std::size_t refused = answers.catalogue().shown()["leftOut"]["refused"].size();
    if (refused == 0) {
        return kDone;
    }
    std::cerr << "radvex: " << formats::counted(refused, "file was", "files were")
              << " left out; the page says why. radvex tree names them.\n";
    return kPartly;
}

int save(const Words& words) {
    const std::vector<Asset> page = pageOf(words.own(3));
    Source source(words, 0);
    files::writeOutputText(outputOf(words), savedPage(source.answers(), page, numberOf(words.own(2)) * kMebibyte));
    return statusOf(source.answers());
}

int report(const Words& words) {
    Source source(words, 0);
    files::writeOutputText(outputOf(words), studyReport(source.answers()));
    return statusOf(source.answers());
}

int run(const Words& words) {
    if (words.isMode("serve", 10)) {
        return serve(words);
    }
    files::removeFoldersOnEndSignals();
    if (words.isMode("read", 4)) {
        return answerServer(words.library(), numberOf(words.jobs()));
    }
    if (words.isMode("page", 2)) {
        std::cout << pageFolder() << '\n';
        return kDone;
    }
    if (words.isMode("save", 10)) {
        return save(words);
    }
    if (words.isMode("report", 8)) {
        return report(words);
    }
    throw UsageError("this program is started by radvex view.");
}

} // namespace

} // namespace radvex::view

int main(int argc, char** argv) {
    try {
        return radvex::view::run(radvex::view::Words({argv, argv + argc}));
    } catch (const radvex::Error& error) {
        std::cerr << "radvex: " << error.what() << '\n';
        return error.exitStatus();
    } catch (const std::exception& error) {
        std::cerr << "radvex: " << error.what() << '\n';
        return radvex::kRefused;
    }
}
