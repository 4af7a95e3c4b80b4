#pragma once

#include <string>
#include <vector>

#include "cli/arguments/CommandDescription.h"

namespace radvex::cli {

/// Scripts that make a shell offer the commands, options, values, files and folders of the program. All is in them but
/// the keywords of attributes, which "radvex help --keywords" prints when somebody wants to complete one.
std::string bashCompletion(const CommandDescription& program);
std::string zshCompletion(const CommandDescription& program);
std::string fishCompletion(const CommandDescription& program);

/// A shell, and where it looks for the scripts of programs below the data folder of a system: "share".
struct Shell {
    std::string name;
    std::string (*completion)(const CommandDescription& program);
    std::string path; ///< "bash-completion/completions/radvex"
};

const std::vector<Shell>& shells();

/// What a shell shows beside an option: the first part of its description, which fits into a line.
std::string shortMeaning(const std::string& meaning);

/// The text in single quotation marks, as sh, bash and zsh read it.
std::string quotedForShell(const std::string& text);

} // namespace radvex::cli
