#pragma once

#include "cli/Session.h"
#include "cli/arguments/CommandLine.h"

// Each adds one command to the program. What the command does runs when the program has parsed its arguments.

namespace radvex::cli {

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
void addIndexCommand(const CommandLine& program);
void addAnonymizeCommand(const CommandLine& program, Session& session);
void addTreeCommand(const CommandLine& program, Session& session);
void addSeriesCommand(const CommandLine& program, Session& session);

} // namespace radvex::cli
