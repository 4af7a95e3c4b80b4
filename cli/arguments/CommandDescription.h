#pragma once

#include <string>
#include <utility>
#include <vector>

namespace radvex::cli {

/// What somebody types as a value, which decides what a shell offers for it.
enum class Takes { Nothing, Text, File, Folder, Path, Keyword, Assignment };

/// An option or a positional argument, as the parser knows it.
struct ArgumentDescription {
    std::vector<std::string> names{}; ///< "-o", "--output"; of a positional argument only "FILE"
    std::string meaning{};
    std::string group{};              ///< of options that are listed together: "Options"
    std::string value{};              ///< name of the value: "FILE"; empty for a flag
    std::vector<std::string> words{}; ///< values to choose from, or the usual ones
    /// Path: a file or a folder; Keyword: of an attribute; Assignment: the same with a value
    Takes takes = Takes::Nothing;
    bool isPositional = false;
    bool isRequired = false;
    bool mayRepeat = false;
};

/// A command, as the parser knows it: what the help text, the manual page and the completions of shells are made from.
struct CommandDescription {
    std::string name{};
    std::string meaning{};
    std::vector<std::string> notes{}; ///< paragraphs behind the options
    std::vector<std::pair<std::string, std::string>> examples{};
    std::vector<ArgumentDescription> arguments{};
    std::vector<CommandDescription> commands{};
};

} // namespace radvex::cli
