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

} // namespace

CommandLine::CommandLine(const std::string& name, const std::string& description)
    : mApp(std::make_shared<CLI::App>(description, name)) {}

CommandLine::CommandLine(std::shared_ptr<CLI::App> app) : mApp(std::move(app)) {}

CommandLine CommandLine::addCommand(const std::string& name, const std::string& description) const {
    mApp->require_subcommand(1);
    // The program owns its commands. An owning pointer would keep a command alive whose action holds a copy of it.
    return CommandLine(std::shared_ptr<CLI::App>(std::shared_ptr<CLI::App>(), mApp->add_subcommand(name, description)));
}

void CommandLine::addRequired(const std::string& name, std::string& value, const std::string& description) const {
    mApp->add_option(name, value, description)->required();
}

void CommandLine::addOption(const std::string& name, std::string& value, const std::string& description) const {
    mApp->add_option(name, value, description);
}

void CommandLine::addChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                            const std::string& description) const {
    mApp->add_option(name, value, description)->check(CLI::IsMember(words));
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
                                const std::string& description) const {
    mApp->add_option(name, values, description + "; may be repeated")->allow_extra_args(false)->take_all();
}

void CommandLine::addWords(const std::string& name, std::vector<std::string>& values,
                           const std::string& description) const {
    mApp->add_option(name, values, description);
}

void CommandLine::addFlag(const std::string& name, bool& value, const std::string& description) const {
    mApp->add_flag(name, value, description);
}

void CommandLine::addVersion(const std::string& version) const { mApp->set_version_flag("--version", version); }

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

} // namespace radvex::cli
