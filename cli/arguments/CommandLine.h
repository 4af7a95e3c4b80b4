#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/CommandDescription.h"

namespace CLI {
class App;
}

namespace radvex::cli {

/// The arguments and options of the program or of one of its commands. CLI11 does the work in one source file only,
/// because its header takes seconds to compile. Copies refer to the same command.
/// A name is a word such as "FILE" for a positional argument, or "-o,--output" for an option. The variable that
/// receives a value has to outlive the parsing.
class CommandLine {
  public:
    /// Makes the program itself.
    CommandLine(const std::string& name, const std::string& description);

    CommandLine addCommand(const std::string& name, const std::string& description) const;

    void addRequired(const std::string& name, std::string& value, const std::string& description = "",
                     Takes takes = Takes::Text) const;
    void addOption(const std::string& name, std::string& value, const std::string& description,
                   Takes takes = Takes::Text) const;
    /// One of `words`.
    void addChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                   const std::string& description) const;
    void addRequiredChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                           const std::string& description) const;
    /// A whole number from 0 to `most`.
    void addNumber(const std::string& name, std::optional<std::size_t>& value, std::size_t most,
                   const std::string& description) const;
    /// An option that may be repeated, which the help text says.
    void addRepeatable(const std::string& name, std::vector<std::string>& values, const std::string& description,
                       Takes takes = Takes::Text) const;
    /// Any number of arguments.
    void addWords(const std::string& name, std::vector<std::string>& values, const std::string& description,
                  Takes takes = Takes::Text) const;
    void addFlag(const std::string& name, bool& value, const std::string& description) const;
    /// `text` is asked for when --version is given, after all options that were added before.
    void addVersion(std::function<std::string()> text) const;
    /// Values that shells offer for an option or argument which takes others as well.
    void suggest(const std::string& name, const std::vector<std::string>& words) const;
    /// Lists options of the command below a title of their own.
    void group(const std::vector<std::string>& names, const std::string& title) const;

    /// Undeclared words are no error; remaining() returns them.
    void allowMore() const;
    /// remaining() returns all words behind the first argument unchanged, even those that look like options or lists.
    void leaveTheRest() const;
    std::vector<std::string> remaining() const;

    void exclude(const std::string& name, const std::string& other) const;
    /// Sentences behind the options in the help text, above the examples.
    void setFooter(const std::string& text) const;
    /// An example in the help text. A test runs each of them in a folder with a file of every name that they use.
    /// @param words  what a person types: "radvex tags ct.dcm --tag PatientName"
    void addExample(const std::string& words, const std::string& meaning) const;
    /// `action` runs after the arguments of the command are parsed.
    void setAction(std::function<void()> action) const;

    /// Parses the words after the program's name and runs the command among them. "help" and "help COMMAND" are
    /// answered like --help.
    /// @return the exit status when the words ask for help or the version, which is printed; nothing otherwise
    /// @throws UsageError  a sentence that says what is wrong, and what was probably meant
    std::optional<int> run(const std::vector<std::string>& words) const;
    /// The help text of the program, or of the command that the parsed words chose.
    std::string help() const;
    /// Prints the help text of the program, and those of all commands.
    void printAllHelp() const;
    /// What to type for that text: "radvex help tags".
    std::string helpCommand() const;

    /// The long names of the options: "--output".
    std::vector<std::string> optionNames() const;

    /// What was added, with the command "help" among the commands of the program.
    CommandDescription describe() const;
    /// The version of CLI11.
    static std::string parserVersion();

  private:
    explicit CommandLine(std::shared_ptr<CLI::App> app);

    void printHelpOf(const std::vector<std::string>& words) const;
    std::string whatIsWrong(const std::string& said) const;

    std::shared_ptr<CLI::App> mApp;
};

} // namespace radvex::cli
