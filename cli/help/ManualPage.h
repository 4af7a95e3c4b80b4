#pragma once

#include <string>

#include "cli/arguments/CommandDescription.h"

namespace radvex::cli {

/// The manual page of the program or of one of its commands, in roff with the macros of man(7).
/// @param program  the whole program, which the page of a command refers to
/// @param command  one of its commands, or null for the page of the program
/// @param version  of the program: "0.1.0"
/// @param date     of the page: "2026-11-20"
std::string manualPage(const CommandDescription& program, const CommandDescription* command, const std::string& version,
                       const std::string& date);

/// "radvex-tags" for a command, "radvex" for the program: the page's name and that of its file without ".1".
std::string manualName(const CommandDescription& program, const CommandDescription* command);

} // namespace radvex::cli
