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
#include "cli/arguments/OutputRule.h"
#include "files/Errors.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

constexpr std::size_t kLargestPort = 65535;
constexpr std::size_t kUsualMemory = 1024; // MiB
constexpr std::size_t kUsualFile = 25;     // MiB, which most mail servers take
constexpr std::size_t kMost = 1 << 20;

struct ViewOptions {
    std::string medium{};
    std::string series = ".*";
    std::optional<std::size_t> port{};
    std::optional<std::size_t> memory{}; ///< MiB
    bool hasNoBrowser = false;
    bool isInFrame = false;
    std::string saved{};
    std::optional<std::size_t> maxSize{}; ///< MiB
    std::string report{};
    OutputRule rule{};
    FileJobs jobs{};
};

/// Whether somebody is there to read a hint, and wants to.
bool mayHint() { return ::isatty(STDERR_FILENO) != 0 && !Messages::ofThisRun().isQuiet; }

void check(const ViewOptions& options) {
    checkPattern("--series", options.series);
    const bool isWritten = !options.saved.empty() || !options.report.empty();
    if (!options.saved.empty() && !options.report.empty()) {
        throw UsageError("--save and --report write different pages; run the command for each.");
    }
    if (isWritten && (options.port || options.memory || options.hasNoBrowser || options.isInFrame)) {
        throw UsageError(
            "--port, --memory, --no-browser and --in-frame are for the page in the browser, not for one in a file.");
    }
    if (options.maxSize && options.saved.empty()) {
        throw UsageError("--max-size is that of the file of --save.");
    }
    options.rule.check({options.saved, options.report}, {options.medium});
    if (isWritten && mayHint()) {
        std::cerr << "The file will hold pictures, names and attributes of the patients as they are.\n";
    }
}

std::vector<std::string> wordsFor(const ViewOptions& options) {
    const std::string force = options.rule.isForced() ? "1" : "0";
    if (!options.report.empty()) {
        return {"report", options.report, force};
    }
    if (!options.saved.empty()) {
        return {"save", options.saved, force, std::to_string(options.maxSize.value_or(kUsualFile)), ""};
    }
    return {"serve", std::to_string(options.port.value_or(0)), std::to_string(options.memory.value_or(kUsualMemory)),
            options.isInFrame      ? "frame"
            : options.hasNoBrowser ? "none"
                                   : "browser",
            ""};
}

/// The server is a program of its own, which takes the place of this one: with its libraries every other command would
/// start later.
void run(Session& session, const ViewOptions& options) {
    check(options);
    const std::string program =
        (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "radvex-view").string();
    const std::vector<std::string> own = wordsFor(options);
    std::vector<std::string> words{program,           own.front(),
                                   session.library(), std::to_string(std::max<std::size_t>(1, options.jobs.count())),
                                   options.series,    options.medium};
    words.insert(words.end(), own.begin() + 1, own.end());
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    if (own.front() == "serve" && mayHint()) {
        std::cerr << "Looking through " << formats::printable(options.medium)
                  << ". The page then has this address, and Ctrl-C ends it:\n";
    }
    (void)::execv(program.c_str(), arguments.data());
    throw FileError(program + " cannot be started: " + std::strerror(errno) + ".");
}

} // namespace

void addViewCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<ViewOptions>(program, session, "view", "Look at a folder or a medium in the browser", run);
    command.addRequired("MEDIUM", options.medium, "DICOM file, folder, or DICOMDIR of a medium", Takes::Path);
    command.addOption("--series", options.series,
                      "Show only series whose SeriesInstanceUID matches this regular expression");
    command.addNumber("--port", options.port, kLargestPort,
                      "Port of the page on this machine; any free one by default");
    command.addNumber("--memory", options.memory, kMost,
                      "MiB of volumes that are kept, and of the largest one that is shown; 1024 by default");
    command.addFlag("--no-browser", options.hasNoBrowser, "Print the address, and open nothing");
    command.addFlag("--in-frame", options.isInFrame,
                    "For a notebook: print the address, let other pages show this one, end with the standard input");
    command.addOption("--save", options.saved, "HTML file with the page and its slices, which needs no server",
                      Takes::File);
    command.addNumber("--max-size", options.maxSize, kMost, "MiB that this file may have; 25 by default");
    command.addOption("--report", options.report,
                      "HTML file with a preview, the verdict and the protocol of each series, without scripts",
                      Takes::File);
    options.rule.addTo(command);
    options.jobs.addTo(command);
    command.setFooter(
        "The page is for the browsers of this machine and for who knows its address. It only reads, and nothing leaves "
        "the machine. docs/view.md says what it shows.");
    command.addExample("radvex view STUDIES", "A folder in the browser, until Ctrl-C");
    command.addExample("radvex view STUDIES --no-browser --port 8080", "For a browser that is opened by hand");
    command.addExample("radvex view STUDIES --save page.html", "The same as one file, for a mail");
    command.addExample("radvex view STUDIES --report report.html", "What there is, on one page to be read or printed");
}

} // namespace radvex::cli
