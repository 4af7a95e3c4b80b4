#include "cli/help/HelpPages.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>

#include "cli/arguments/Suggestions.h"
#include "cli/help/Completions.h"
#include "cli/help/ManualPage.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "media/ElementList.h"

namespace radvex::cli {

namespace {

namespace fs = std::filesystem;

/// Today, or the day that builds which are to be repeated agree on.
std::string dateOfPages() {
    const char* const agreed = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t moment = agreed == nullptr ? std::time(nullptr) : std::strtoll(agreed, nullptr, 10);
    std::tm parts{};
    gmtime_r(&moment, &parts);
    char text[32];
    (void)std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

std::string pageOf(const CommandDescription& program, const CommandDescription* command) {
    return manualPage(program, command, RADVEX_VERSION, dateOfPages());
}

const CommandDescription& find(const CommandDescription& program, const std::string& name) {
    const auto found = std::ranges::find(program.commands, name, &CommandDescription::name);
    if (found == program.commands.end()) {
        std::vector<std::string> known;
        for (const CommandDescription& command : program.commands) {
            known.push_back(command.name);
        }
        throw UsageError('\'' + name + "' is no command" + didYouMean(name, known));
    }
    return *found;
}

void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    files::writeOutputText({path.string(), files::Existing::MayBeReplaced}, text);
}

void writeAll(const CommandDescription& program, const fs::path& folder) {
    const fs::path manual = folder / "man" / "man1";
    write(manual / (manualName(program, nullptr) + ".1"), pageOf(program, nullptr));
    for (const CommandDescription& command : program.commands) {
        write(manual / (manualName(program, &command) + ".1"), pageOf(program, &command));
    }
    for (const Shell& shell : shells()) {
        write(folder / shell.path, shell.completion(program));
    }
}

} // namespace

std::optional<int> answerHelpPages(const CommandLine& program, const std::vector<std::string>& words) {
    if (words.size() < 2 || words[0] != "help") {
        return std::nullopt;
    }
    if (words[1] == "--all") {
        program.printAllHelp();
    } else if (words[1] == "--man") {
        const CommandDescription all = program.describe();
        std::cout << pageOf(all, words.size() > 2 ? &find(all, words[2]) : nullptr);
    } else if (words[1] == "--keywords") {
        for (const media::KnownAttribute& attribute : media::knownAttributes()) {
            std::cout << attribute.keyword << '\n';
        }
    } else if (words[1] == "--write" && words.size() == 3) {
        writeAll(program.describe(), words[2]);
    } else {
        return std::nullopt;
    }
    return kDone;
}

} // namespace radvex::cli
