#pragma once

#include <memory>
#include <string>

#include "cli/Session.h"
#include "cli/arguments/CommandLine.h"
#include "cli/arguments/Messages.h"

namespace radvex::cli {

/// A command that was just added, and the options that its arguments go to.
template <typename Options>
struct NewCommand {
    CommandLine command;
    Options& options; ///< lives as long as the program
};

/// Adds a command with the options that all commands have.
inline CommandLine addCommand(const CommandLine& program, const std::string& name, const std::string& description) {
    CommandLine command = program.addCommand(name, description);
    Messages::addTo(command);
    return command;
}

/// Adds a command that calls `run` after the program has parsed its arguments.
template <typename Options>
NewCommand<Options> addCommand(const CommandLine& program, Session& session, const std::string& name,
                               const std::string& description, void (*run)(Session&, const Options&)) {
    auto options = std::make_shared<Options>();
    const CommandLine command = addCommand(program, name, description);
    command.setAction([&session, options, run] { run(session, *options); });
    return {command, *options};
}

// Each adds one command to the program.
void addTagsCommand(const CommandLine& program, Session& session);
void addInfoCommand(const CommandLine& program, Session& session);
void addImageCommand(const CommandLine& program, Session& session);
void addDataCommand(const CommandLine& program, Session& session);
void addOverlaysCommand(const CommandLine& program, Session& session);
void addVolumeCommand(const CommandLine& program, Session& session);
/// keyword, number and vr
void addDictionaryCommands(const CommandLine& program, Session& session);
void addCallCommand(const CommandLine& program, Session& session);
void addErrorsCommand(const CommandLine& program, Session& session);
void addWriteCommand(const CommandLine& program, Session& session);
void addDefaultsCommand(const CommandLine& program, Session& session);
void addFramesCommand(const CommandLine& program, Session& session);
void addIndexCommand(const CommandLine& program, Session& session);
void addAnonymizeCommand(const CommandLine& program, Session& session);
void addVerifyCommand(const CommandLine& program, Session& session);
void addTreeCommand(const CommandLine& program, Session& session);
void addDiffCommand(const CommandLine& program, Session& session);
void addViewCommand(const CommandLine& program, Session& session);
void addDoctorCommand(const CommandLine& program, Session& session);
void addCompletionCommand(const CommandLine& program, Session& session);
void addSeriesCommand(const CommandLine& program, Session& session);

} // namespace radvex::cli
