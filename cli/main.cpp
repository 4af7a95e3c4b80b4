#include <iostream>

#include "Commands.h"
#include "LosslessJson.h"
#include "Output.h"
#include "OutputFile.h"
#include "VolumeFile.h"

namespace {

using namespace radvex::cli;

int usageError(const CLI::App& app, const std::string& message) {
    printError(message);
    const auto chosen = app.get_subcommands();
    std::cerr << (chosen.empty() ? app.help() : chosen.front()->help());
    return kUsage;
}

int run(int argc, char** argv) {
    Session session;
    CLI::App app("Read and write DICOM images and their metadata.", "radvex");
    app.set_version_flag("--version", RADVEX_VERSION);
    app.add_option("--library", session.libraryPath, "Radvex.so to use instead of the one beside this command");
    app.require_subcommand(1);
    addTagsCommand(app, session);
    addInfoCommand(app, session);
    addFramesCommand(app, session);
    addImageCommand(app, session);
    addDataCommand(app, session);
    addOverlaysCommand(app, session);
    addVolumeCommand(app, session);
    addIndexCommand(app);
    addAnonymizeCommand(app, session);
    addTreeCommand(app, session);
    addSeriesCommand(app, session);
    addWriteCommand(app, session);
    addDefaultsCommand(app, session);
    addDictionaryCommands(app, session);
    addErrorsCommand(app, session);
    addCallCommand(app, session);
    try {
        app.parse(argc, argv);
        return session.status();
    } catch (const CLI::Success& request) { // --help and --version
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        return usageError(app, error.what());
    } catch (const UsageError& error) {
        return usageError(app, error.what());
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
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        printError(std::string("The command failed: ") + error.what());
        return radvex::cli::kRefused;
    }
}
