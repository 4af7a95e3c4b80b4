#include "cli/arguments/CommandLine.h"

#include <algorithm>
#include <utility>

#include "CLI/CLI.hpp"
#include "cli/Session.h"

namespace radvex::cli {

namespace {

const std::string kExamples = "Examples:";

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
    mApp->add_option(name, value, description)->check(CLI::Range(std::size_t{0}, most));
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
    try {
        mApp->parse(std::vector<std::string>(words.rbegin(), words.rend())); // CLI11 takes the last word first
        return std::nullopt;
    } catch (const CLI::Success& request) { // --help and --version
        return mApp->exit(request);
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
}

std::string CommandLine::help() const {
    const auto chosen = mApp->get_subcommands();
    return chosen.empty() ? mApp->help() : chosen.front()->help();
}

} // namespace radvex::cli
