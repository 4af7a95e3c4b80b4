#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/CommandLine.h"

namespace radvex::cli {

/// Answers the words that ask for more than the help of one command:
///
///     help --all                the help texts of the program and of all commands
///     help --man [COMMAND]      a manual page
///     help --keywords           the keywords of all attributes, one a line, for the completions of shells
///     help --write FOLDER       all manual pages and completions, where a system has them below its folder "share"
///
/// Only the first is for people, and no help text names the others.
/// @param program  with all commands added
/// @return the exit status; nothing for other words
/// @throws UsageError, FileError
std::optional<int> answerHelpPages(const CommandLine& program, const std::vector<std::string>& words);

} // namespace radvex::cli
