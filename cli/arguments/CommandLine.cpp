#include "cli/arguments/CommandLine.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <utility>

#include "CLI/CLI.hpp"
#include "cli/Session.h"
#include "cli/arguments/Suggestions.h"

namespace radvex::cli {

namespace {

const std::string kExamples = "Examples:";
const std::string kMayRepeat = "; may be repeated";
const std::string kSuggested = "suggested ";

/// What stands behind the name of an option in the help text.
std::string typeName(Takes takes) {
    switch (takes) {
    case Takes::File: return "FILE";
    case Takes::Folder: return "FOLDER";
    case Takes::Path: return "PATH";
    case Takes::Keyword: return "KEYWORD";
    case Takes::Assignment: return "KEYWORD=VALUE";
    default: return "TEXT";
    }
}

Takes takesOf(const std::string& name) {
    for (const Takes takes : {Takes::File, Takes::Folder, Takes::Path, Takes::Keyword, Takes::Assignment}) {
        if (name == typeName(takes)) {
            return takes;
        }
    }
    return Takes::Text;
}

std::vector<std::string> optionsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::vector<std::string> commandsOf(const CLI::App& app) {
    std::vector<std::string> names{"help"};
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

/// The words without "--". Those behind it are files, whatever they look like, and get a form that says so.
std::vector<std::string> withoutMark(const std::vector<std::string>& words) {
    const auto mark = std::find(words.begin(), words.end(), "--");
    if (mark == words.end() || words.front() == "call") { // whose words are values
        return words;
    }
    std::vector<std::string> plain(words.begin(), mark);
    for (auto word = mark + 1; word != words.end(); ++word) {
        const bool looksOtherwise = word->size() > 1 && (word->front() == '-' || word->front() == '@');
        plain.push_back(looksOtherwise ? "./" + *word : *word);
    }
    return plain;
}

/// Breaks the lines of a help text. A description goes on below its start, any other text below its own.
std::string wrapped(const std::string& text) {
    constexpr std::size_t kWidth = 100;
    constexpr std::size_t kDescription = 30; // CLI11's column of descriptions
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t own = std::min(line.find_first_not_of(' '), line.size());
        const bool isDescribed = own > 0 && line.size() > kDescription && line[kDescription - 1] == ' ';
        const std::string indent(isDescribed ? kDescription : own, ' ');
        while (line.size() > kWidth) {
            const std::size_t end = line.rfind(' ', kWidth);
            if (end == std::string::npos || end <= indent.size()) {
                break;
            }
            result.append(line, 0, end).append("\n");
            line.replace(0, end + 1, indent);
        }
        result += line + '\n';
    }
    return result;
}

/// The name of the validator that carries suggestions; empty when there are none.
std::string suggestionsOf(CLI::Option& option) {
    try {
        for (int index = 0;; ++index) {
            std::string name = option.get_validator(index)->get_name();
            if (name.starts_with(kSuggested)) {
                return name;
            }
        }
    } catch (const CLI::OptionNotFound&) { // behind the last one
        return "";
    }
}

/// The words of a choice, "TEXT:{a,b}", or those that were suggested.
std::vector<std::string> wordsOf(CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t start = type.find('{');
    if (start != std::string::npos) {
        return CLI::detail::split(type.substr(start + 1, type.find('}') - start - 1), ',');
    }
    const std::string name = option.get_type_size() == 0 ? "" : suggestionsOf(option);
    return name.empty() ? std::vector<std::string>() : CLI::detail::split(name.substr(kSuggested.size()), ' ');
}

ArgumentDescription describe(CLI::Option& option) {
    ArgumentDescription argument{.meaning = option.get_description(), .group = option.get_group()};
    for (const std::string& name : option.get_snames()) {
        argument.names.push_back('-' + name);
    }
    for (const std::string& name : option.get_lnames()) {
        argument.names.push_back("--" + name);
    }
    argument.isPositional = argument.names.empty();
    if (argument.isPositional) {
        argument.names.push_back(option.get_name(true));
    }
    argument.isRequired = option.get_required();
    argument.mayRepeat = option.get_expected_max() > 1 || argument.meaning.ends_with(kMayRepeat);
    if (option.get_type_size() != 0) {
        const std::string type = option.get_type_name();
        argument.value = type.substr(0, type.find(':'));
        argument.takes = takesOf(argument.value);
        argument.words = wordsOf(option);
    }
    return argument;
}

std::vector<std::pair<std::string, std::string>> examplesIn(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> examples;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t start = line.find_first_not_of(' ');
        if (start == 2) {
            examples.emplace_back(line.substr(start), "");
        } else if (start == 6 && !examples.empty()) {
            examples.back().second = line.substr(start);
        }
    }
    return examples;
}

/// @param inherited  the footer of the program, which commands without one of their own have too
CommandDescription describe(CLI::App& app, const std::string& inherited) {
    CommandDescription command{.name = app.get_name(), .meaning = app.get_description()};
    const std::string footer = app.get_footer();
    const std::size_t examples = footer.find(kExamples);
    std::string notes = footer.substr(0, examples);
    notes.erase(notes.find_last_not_of('\n') + 1);
    if (!notes.empty() && notes != inherited) {
        command.notes.push_back(notes);
    }
    if (examples != std::string::npos) {
        command.examples = examplesIn(footer.substr(examples));
    }
    for (CLI::Option* option : app.get_options()) {
        command.arguments.push_back(describe(*option));
    }
    if (app.get_allow_extras() || app.get_prefix_command()) { // one positional argument stands for all words
        for (ArgumentDescription& argument : command.arguments) {
            argument.mayRepeat = argument.mayRepeat || argument.isPositional;
        }
    }
    for (CLI::App* each : app.get_subcommands([](CLI::App*) { return true; })) {
        command.commands.push_back(describe(*each, notes));
    }
    return command;
}

} // namespace

CommandLine::CommandLine(const std::string& name, const std::string& description)
    : mApp(std::make_shared<CLI::App>(description, name)) {}

CommandLine::CommandLine(std::shared_ptr<CLI::App> app) : mApp(std::move(app)) {}

CommandLine CommandLine::addCommand(const std::string& name, const std::string& description) const {
    mApp->require_subcommand(1);
    // The program owns its commands. An owning pointer would keep a command alive whose action holds a copy of it.
    return CommandLine(std::shared_ptr<CLI::App>(std::shared_ptr<CLI::App>(), mApp->add_subcommand(name, description)));
}

void CommandLine::addRequired(const std::string& name, std::string& value, const std::string& description,
                              Takes takes) const {
    mApp->add_option(name, value, description)->required()->type_name(typeName(takes));
}

void CommandLine::addOption(const std::string& name, std::string& value, const std::string& description,
                            Takes takes) const {
    mApp->add_option(name, value, description)->type_name(typeName(takes));
}

void CommandLine::addChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                            const std::string& description) const {
    mApp->add_option(name, value, description)->check(CLI::IsMember(words));
}

void CommandLine::addRequiredChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                                    const std::string& description) const {
    mApp->add_option(name, value, description)->required()->check(CLI::IsMember(words));
}

void CommandLine::addNumber(const std::string& name, std::optional<std::size_t>& value, std::size_t most,
                            const std::string& description) const {
    const std::string range = "0 to " + std::to_string(most);
    mApp->add_option(name, value, description)
        ->check(CLI::Validator(
            [most, range](const std::string& word) {
                std::size_t number = 0;
                const bool isNumber = CLI::detail::lexical_cast(word, number) && word.find('-') == std::string::npos;
                return isNumber && number <= most ? std::string() : '\'' + word + "' is no number from " + range;
            },
            "", "range"))
        ->type_name("NUMBER");
}

void CommandLine::addRepeatable(const std::string& name, std::vector<std::string>& values,
                                const std::string& description, Takes takes) const {
    mApp->add_option(name, values, description + kMayRepeat)
        ->allow_extra_args(false)
        ->take_all()
        ->type_name(typeName(takes));
}

void CommandLine::addWords(const std::string& name, std::vector<std::string>& values, const std::string& description,
                           Takes takes) const {
    mApp->add_option(name, values, description)->type_name(typeName(takes));
}

void CommandLine::addFlag(const std::string& name, bool& value, const std::string& description) const {
    mApp->add_flag(name, value, description);
}

void CommandLine::addVersion(std::function<std::string()> text) const {
    mApp->set_version_flag("--version", std::move(text), "Print the version; with --verbose, of the libraries too");
}

void CommandLine::suggest(const std::string& name, const std::vector<std::string>& words) const {
    // A validator that refuses nothing carries them: its name is not printed.
    mApp->get_option(name)->check(CLI::Validator([](const std::string&) { return std::string(); }, "",
                                                 kSuggested + CLI::detail::join(words, " ")));
}

void CommandLine::group(const std::vector<std::string>& names, const std::string& title) const {
    for (const std::string& name : names) {
        mApp->get_option(name)->group(title);
    }
}

void CommandLine::allowMore() const { mApp->allow_extras(); }

void CommandLine::leaveTheRest() const { mApp->prefix_command(); }

std::vector<std::string> CommandLine::remaining() const { return mApp->remaining(); }

void CommandLine::exclude(const std::string& name, const std::string& other) const {
    mApp->get_option(name)->excludes(mApp->get_option(other));
}

void CommandLine::setFooter(const std::string& text) const { mApp->footer(text); }

void CommandLine::addExample(const std::string& words, const std::string& meaning) const {
    const std::string before = mApp->get_footer();
    const std::string title =
        before.find(kExamples) == std::string::npos ? (before.empty() ? "" : "\n\n") + kExamples : "";
    mApp->footer(before + title + "\n  " + words + "\n      " + meaning);
}

void CommandLine::setAction(std::function<void()> action) const { mApp->callback(std::move(action)); }

std::optional<int> CommandLine::run(const std::vector<std::string>& words) const {
    if (!words.empty() && words.front() == "help") {
        printHelpOf({words.begin() + 1, words.end()});
        return kDone;
    }
    try {
        const std::vector<std::string> plain = withoutMark(words);
        mApp->parse(std::vector<std::string>(plain.rbegin(), plain.rend())); // CLI11 takes the last word first
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        std::cout << help();
        return kDone;
    } catch (const CLI::Success& request) { // --version
        return mApp->exit(request);
    } catch (const CLI::ParseError& error) {
        throw UsageError(whatIsWrong(error.what()));
    }
}

void CommandLine::printHelpOf(const std::vector<std::string>& words) const {
    if (words.empty()) {
        std::cout << wrapped(mApp->help());
        return;
    }
    const auto commands =
        mApp->get_subcommands([&](const CLI::App* command) { return command->get_name() == words.front(); });
    if (commands.empty()) {
        throw UsageError('\'' + words.front() + "' is no command" + didYouMean(words.front(), commandsOf(*mApp)));
    }
    std::cout << wrapped(commands.front()->help(mApp->get_name()));
}

void CommandLine::printAllHelp() const {
    std::cout << wrapped(mApp->help());
    for (CLI::App* command : mApp->get_subcommands([](CLI::App*) { return true; })) {
        std::cout << '\n' << wrapped(command->help(mApp->get_name()));
    }
}

/// @param said  CLI11's words, which are used where nothing better is known
std::string CommandLine::whatIsWrong(const std::string& said) const {
    const auto chosen = mApp->get_subcommands();
    const CLI::App& app = chosen.empty() ? *mApp : *chosen.front();
    for (const std::string& word : app.remaining()) {
        if (word.size() > 1 && word.front() == '-') {
            return "There is no option " + word + didYouMean(word, optionsOf(app));
        }
        return chosen.empty() ? '\'' + word + "' is no command" + didYouMean(word, commandsOf(app))
                              : '\'' + word + "' is one word too many.";
    }
    return chosen.empty() && said.find("subcommand") != std::string::npos ? "A command is missing."
           : said.ends_with('.')                                          ? said
                                                                          : said + '.';
}

std::string CommandLine::help() const {
    const auto chosen = mApp->get_subcommands();
    return wrapped(chosen.empty() ? mApp->help() : chosen.front()->help(mApp->get_name()));
}

std::string CommandLine::helpCommand() const {
    const auto chosen = mApp->get_subcommands();
    return mApp->get_name() + " help" + (chosen.empty() ? "" : ' ' + chosen.front()->get_name());
}

std::vector<std::string> CommandLine::optionNames() const { return optionsOf(*mApp); }

CommandDescription CommandLine::describe() const {
    CommandDescription program = cli::describe(*mApp, "");
    CommandDescription help{.name = "help", .meaning = "Show the options and examples of a command"};
    help.arguments.push_back({.names = {"COMMAND"},
                              .meaning = "The command",
                              .value = "COMMAND",
                              .takes = Takes::Text,
                              .isPositional = true});
    help.arguments.push_back({.names = {"--all"}, .meaning = "All help texts", .group = "Options"});
    for (const CommandDescription& command : program.commands) {
        help.arguments.front().words.push_back(command.name);
    }
    program.commands.push_back(std::move(help));
    return program;
}

std::string CommandLine::parserVersion() { return CLI11_VERSION; }

} // namespace radvex::cli
