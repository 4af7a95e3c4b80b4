#include <iostream>

#include "cli/Commands.h"
#include "cli/tags/TagPath.h"
#include "files/EndSignals.h"
#include "files/Errors.h"

namespace {

using namespace radvex::cli;

int run(int argc, char** argv) {
    Session session;
    const CommandLine program("radvex", "Read and write DICOM images and their metadata.");
    program.addVersion(RADVEX_VERSION);
    program.addOption("--library", session.libraryPath, "Radvex.so to use instead of the one beside this command");
    program.setFooter("Exit status: 0 all done; 1 something that was asked for is not there or cannot be done; 2 wrong "
                      "usage; 3 done but for files that are named on standard error.");
    addTagsCommand(program, session);
    addInfoCommand(program, session);
    addFramesCommand(program, session);
    addImageCommand(program, session);
    addDataCommand(program, session);
    addOverlaysCommand(program, session);
    addVolumeCommand(program, session);
    addIndexCommand(program, session);
    addAnonymizeCommand(program, session);
    addVerifyCommand(program, session);
    addTreeCommand(program, session);
    addSeriesCommand(program, session);
    addDiffCommand(program, session);
    addWriteCommand(program, session);
    addDefaultsCommand(program, session);
    addDictionaryCommands(program, session);
    addErrorsCommand(program, session);
    addCallCommand(program, session);
    try {
        const std::optional<int> answered = program.run(std::vector<std::string>(argv + 1, argv + argc));
        return answered ? *answered : session.status();
    } catch (const radvex::UsageError& error) {
        printError(error.what());
        std::cerr << "See '" << program.helpCommand() << "'.\n";
        return error.exitStatus();
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

} // namespace

int main(int argc, char** argv) {
    radvex::files::removeFoldersOnEndSignals();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        printError(std::string("The command failed: ") + error.what());
        return radvex::kRefused;
    }
}
