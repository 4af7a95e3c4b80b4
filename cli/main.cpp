#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <system_error>

#include "cli/Commands.h"
#include "cli/doctor/LibraryVersions.h"
#include "cli/help/HelpPages.h"
#include "cli/tags/TagPath.h"
#include "files/EndSignals.h"
#include "files/Errors.h"

namespace {

using namespace radvex::cli;

/// Commands that one function adds.
struct Commands {
    std::string_view names; ///< with blanks between them
    void (*add)(const CommandLine& program, Session& session);

    bool has(const std::string& name) const {
        return !name.empty() && (' ' + std::string(names) + ' ').find(' ' + name + ' ') != std::string::npos;
    }
};

constexpr Commands kCommands[] = {
    {"tags", addTagsCommand},           {"info", addInfoCommand},
    {"frames", addFramesCommand},       {"image", addImageCommand},
    {"data", addDataCommand},           {"overlays", addOverlaysCommand},
    {"volume", addVolumeCommand},       {"index", addIndexCommand},
    {"anonymize", addAnonymizeCommand}, {"verify", addVerifyCommand},
    {"tree", addTreeCommand},           {"series", addSeriesCommand},
    {"diff", addDiffCommand},           {"write", addWriteCommand},
    {"defaults", addDefaultsCommand},   {"keyword number vr", addDictionaryCommands},
    {"errors", addErrorsCommand},       {"call", addCallCommand},
    {"view", addViewCommand},           {"completion", addCompletionCommand},
    {"doctor", addDoctorCommand},
};

/// The version alone, for scripts; with --verbose, a line for each library behind it.
std::string versionText(Session& session) {
    if (!Messages::ofThisRun().isVerbose) {
        return RADVEX_VERSION;
    }
    try {
        (void)session.host(); // loads those that only the library needs
    } catch (const std::exception& error) {
        printError(error.what());
    }
    std::string text = RADVEX_VERSION + std::string("\n") + versionLines();
    text.pop_back();
    return text;
}

int run(int argc, char** argv) {
    Session session;
    const CommandLine program("radvex", "Read and write DICOM images and their metadata.");
    program.addOption("--library", session.libraryPath, "Radvex.so to use instead of the one beside this command",
                      Takes::File);
    Messages::addTo(program);
    program.addVersion([&session] { return versionText(session); });
    program.setFooter("Exit status: 0 all done; 1 something that was asked for is not there or cannot be done; 2 wrong "
                      "usage; 3 done but for files that are named on standard error.");
    // Most runs need one command; the options of all would take longer than the rest of the start.
    const std::string word = argc > 1 ? argv[1] : "";
    const bool isKnown =
        word != "completion" && std::ranges::any_of(kCommands, [&](const Commands& each) { return each.has(word); });
    for (const Commands& each : kCommands) {
        if (!isKnown || each.has(word)) {
            each.add(program, session);
        }
    }
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        if (const auto answered = answerHelpPages(program, words)) {
            return *answered;
        }
        const std::optional<int> answered = program.run(words);
        return answered ? *answered : session.status();
    } catch (const radvex::UsageError& error) {
        printError(error.what());
        std::cerr << "See '" << program.helpCommand() << "'.\n";
        return error.exitStatus();
    } catch (const radvex::EndedBySignal& ended) {
        printError(ended.what());
        (void)std::raise(ended.signal()); // whoever started the command sees what ended it
        return radvex::kRefused;
    } catch (const radvex::Error& error) {
        printError(error.what());
        return error.exitStatus();
    } catch (const velmora::LibraryError& error) {
        printError(messageOf(error));
        return radvex::kRefused;
    } catch (const velmora::HostError& error) {
        printError(error.what());
        return radvex::kUsage;
    }
}

/// An output that nobody got is no result, whatever else was done.
int statusWithOutput(int status) {
    errno = 0;
    std::cout.flush();
    const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good();
    if (isWritten || (status != radvex::kDone && status != radvex::kPartly)) {
        return status;
    }
    const std::string reason = errno != 0 ? ": " + std::generic_category().message(errno) : "";
    printError("The output cannot be written" + reason + ". Some of it may be missing.");
    return radvex::kRefused;
}

} // namespace

int main(int argc, char** argv) {
    radvex::files::removeFoldersOnEndSignals();
    const auto start = std::chrono::steady_clock::now();
    try {
        const int status = run(argc, argv);
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        Messages::tell("The run took " + secondsText(passed.count()) + '.');
        return statusWithOutput(status);
    } catch (const std::exception& error) {
        printError(std::string("The command failed: ") + error.what());
        return radvex::kRefused;
    }
}
