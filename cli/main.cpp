#include <iostream>

#include "Commands.h"
#include "LargeHeap.h"
#include "LosslessJson.h"
#include "Output.h"
#include "OutputFile.h"
#include "VolumeFile.h"

namespace {

using namespace radvex::cli;

int run(int argc, char** argv) {
    Session session;
    const CommandLine program("radvex", "Read and write DICOM images and their metadata.");
    program.addVersion(RADVEX_VERSION);
    program.addOption("--library", session.libraryPath, "Radvex.so to use instead of the one beside this command");
    addTagsCommand(program, session);
    addInfoCommand(program, session);
    addFramesCommand(program, session);
    addImageCommand(program, session);
    addDataCommand(program, session);
    addOverlaysCommand(program, session);
    addVolumeCommand(program, session);
    addIndexCommand(program);
    addAnonymizeCommand(program, session);
    addTreeCommand(program, session);
    addSeriesCommand(program, session);
    addWriteCommand(program, session);
    addDefaultsCommand(program, session);
    addDictionaryCommands(program, session);
    addErrorsCommand(program, session);
    addCallCommand(program, session);
    try {
        const std::optional<int> answered = program.run(std::vector<std::string>(argv + 1, argv + argc));
        return answered ? *answered : session.status();
    } catch (const UsageError& error) {
        printError(error.what());
        std::cerr << program.help();
        return kUsage;
    } catch (const JsonError& error) {
        printError(error.what());
        return kUsage;
    } catch (const velmora::HostError& error) {
        printError(error.what());
        return kUsage;
    } catch (const velmora::LibraryError& error) {
        printError(error.what());
        return kRefused;
    } catch (const FileError& error) {
        printError(error.what());
        return kRefused;
    } catch (const VolumeError& error) {
        printError(error.what());
        return kRefused;
    }
}

} // namespace

int main(int argc, char** argv) {
    radvex::cli::startWithLargeHeap(argv);
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        printError(std::string("The command failed: ") + error.what());
        return radvex::cli::kRefused;
    }
}
