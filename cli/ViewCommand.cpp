#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <vector>

#include "cli/Commands.h"
#include "cli/arguments/MediumOptions.h"
#include "files/Errors.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

constexpr std::size_t kLargestPort = 65535;
constexpr std::size_t kUsualMemory = 1024; // MiB
constexpr std::size_t kMostMemory = 1 << 20;

struct ViewOptions {
    std::string medium{};
    std::optional<std::size_t> port{};
    std::optional<std::size_t> memory{}; ///< MiB
    bool hasNoBrowser = false;
    FileJobs jobs{};
};

/// The server is a program of its own, which takes the place of this one: with its libraries every other command would
/// start later.
void run(Session& session, const ViewOptions& options) {
    const std::string server =
        (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "radvex-view").string();
    std::vector<std::string> words{server,
                                   "serve",
                                   session.library(),
                                   std::to_string(options.port.value_or(0)),
                                   std::to_string(std::max<std::size_t>(1, options.jobs.count())),
                                   std::to_string(options.memory.value_or(kUsualMemory)),
                                   options.hasNoBrowser ? "0" : "1",
                                   "",
                                   options.medium};
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    if (::isatty(STDERR_FILENO) != 0) {
        std::cerr << "Looking through " << formats::printable(options.medium)
                  << ". The page then has this address, and Ctrl-C ends it:\n";
    }
    (void)::execv(server.c_str(), arguments.data());
    throw FileError(server + " cannot be started: " + std::strerror(errno) + ".");
}

} // namespace

void addViewCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<ViewOptions>(program, session, "view", "Look at a folder or a medium in the browser", run);
    command.addRequired("MEDIUM", options.medium, "DICOM file, folder, or DICOMDIR of a medium");
    command.addNumber("--port", options.port, kLargestPort, "Port of the page on this machine; any free one by default");
    command.addNumber("--memory", options.memory, kMostMemory,
                      "MiB of volumes that are kept, and of the largest one that is shown; 1024 by default");
    command.addFlag("--no-browser", options.hasNoBrowser, "Print the address, and open nothing");
    options.jobs.addTo(command);
    command.setFooter(
        "The page is for the browsers of this machine and for who knows its address. It only reads, and nothing leaves "
        "the machine. docs/view.md says what it shows.");
    command.addExample("radvex view STUDIES", "A folder in the browser, until Ctrl-C");
    command.addExample("radvex view STUDIES --no-browser --port 8080", "For a browser that is opened by hand");
}

} // namespace radvex::cli
