#pragma once

#include <string>

#include "cli/arguments/CommandLine.h"

namespace radvex::cli {

/// What a run says beside its result, and whether it uses colours: --quiet, --verbose and --color, which the program
/// and all commands take and which mean the same everywhere.
///
/// Errors, warnings about data, and what was asked for (attributes, tables, JSON, files) are never held back.
struct Messages {
    /// No progress, no summaries of what was done, and no hints. The differences that `diff` finds and what `verify`
    /// finds are summaries too: the exit status tells whether there are any.
    bool isQuiet = false;
    /// On standard error also: which library is used, how long each piece of work and the whole run took.
    bool isVerbose = false;
    /// auto: on a terminal that is not a dumb one (TERM), unless the environment has NO_COLOR. always and never speak
    /// for themselves.
    std::string colour = "auto";
    /// Progress stands in the last line of the terminal: what is printed next to standard error erases it first.
    bool hasProgressLine = false;

    /// Those of this run.
    static Messages& ofThisRun();
    /// Adds the three options, as a group of their own.
    static void addTo(const CommandLine& command);
    /// Prints a line to standard error if the run is verbose.
    static void tell(const std::string& message);
};

/// Makes a terminal erase the line that it is in.
inline constexpr const char* kEraseLine = "\r\x1B[K";

/// Seconds for a message: "1.25 s".
std::string secondsText(double seconds);

} // namespace radvex::cli
