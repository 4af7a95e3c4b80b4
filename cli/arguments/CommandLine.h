#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace radvex::cli {

/// What the program or one of its commands takes, in words of the command line. CLI11 does the work behind it, in one
/// file: each that sees its header takes seconds to compile. Copies name the same command.
/// A name is a word such as "FILE" for an argument known by its place, or "-o,--output" for an option. A value given
/// stays where it is declared to go, which has to outlive the parsing.
class CommandLine {
  public:
    /// The program itself.
    CommandLine(const std::string& name, const std::string& description);

    CommandLine addCommand(const std::string& name, const std::string& description) const;

    void addRequired(const std::string& name, std::string& value, const std::string& description = "") const;
    void addOption(const std::string& name, std::string& value, const std::string& description) const;
    /// One of `words`.
    void addChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                   const std::string& description) const;
    /// A whole number from 0 to `most`.
    void addNumber(const std::string& name, std::optional<std::size_t>& value, std::size_t most,
                   const std::string& description) const;
    /// An option that may be repeated.
    void addRepeatable(const std::string& name, std::vector<std::string>& values, const std::string& description) const;
    /// Any number of arguments.
    void addWords(const std::string& name, std::vector<std::string>& values, const std::string& description) const;
    void addFlag(const std::string& name, bool& value, const std::string& description) const;
    void addVersion(const std::string& version) const;

    /// Words that are declared nowhere come with remaining(), in place of an error.
    void allowMore() const;
    /// What follows the first argument comes with remaining(), untouched even where it looks like an option or a list.
    void leaveTheRest() const;
    std::vector<std::string> remaining() const;

    void exclude(const std::string& name, const std::string& other) const;
    void setFooter(const std::string& text) const;
    /// What the command does, once its arguments are parsed.
    void setAction(std::function<void()> action) const;

    /// Parses the words after the program's name and runs the command among them.
    /// @return the exit status when the words asked for help or the version, which then is printed; nothing otherwise
    /// @throws UsageError
    std::optional<int> run(const std::vector<std::string>& words) const;
    /// How to use the program, or the command that the parsed words chose.
    std::string help() const;

  private:
    explicit CommandLine(std::shared_ptr<CLI::App> app);

    std::shared_ptr<CLI::App> mApp;
};

} // namespace radvex::cli
