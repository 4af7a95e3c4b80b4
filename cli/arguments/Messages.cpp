#include "cli/arguments/Messages.h"

#include <cstdio>

#include "cli/Session.h"

namespace radvex::cli {

Messages& Messages::ofThisRun() {
    static Messages messages;
    return messages;
}

void Messages::addTo(const CommandLine& command) {
    Messages& messages = ofThisRun();
    command.addFlag("-q,--quiet", messages.isQuiet,
                    "No progress, summaries or hints: only what was asked for, warnings and errors");
    command.addFlag("-v,--verbose", messages.isVerbose, "Say on standard error what is used and how long it takes");
    command.addChoice("--color", messages.colour, {"auto", "always", "never"},
                      "Colours: auto on a terminal, and not with NO_COLOR in the environment");
    command.group({"--quiet", "--verbose", "--color"}, "Messages");
}

void Messages::tell(const std::string& message) {
    if (ofThisRun().isVerbose) {
        printError(message);
    }
}

std::string secondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", seconds);
    return text;
}

} // namespace radvex::cli
