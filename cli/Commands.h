#pragma once

#include "CLI/CLI.hpp"
#include "Session.h"

// Each adds one command to the program. What the command does runs when the program has parsed its arguments.

namespace radvex::cli {

void addTagsCommand(CLI::App& app, Session& session);
void addInfoCommand(CLI::App& app, Session& session);
void addImageCommand(CLI::App& app, Session& session);
void addDataCommand(CLI::App& app, Session& session);
void addOverlaysCommand(CLI::App& app, Session& session);
void addVolumeCommand(CLI::App& app, Session& session);
/// keyword, number and vr
void addDictionaryCommands(CLI::App& app, Session& session);
void addCallCommand(CLI::App& app, Session& session);
void addErrorsCommand(CLI::App& app, Session& session);
void addWriteCommand(CLI::App& app, Session& session);
void addDefaultsCommand(CLI::App& app, Session& session);
void addFramesCommand(CLI::App& app, Session& session);
void addIndexCommand(CLI::App& app);
void addAnonymizeCommand(CLI::App& app, Session& session);
void addTreeCommand(CLI::App& app, Session& session);
void addSeriesCommand(CLI::App& app, Session& session);

} // namespace radvex::cli
