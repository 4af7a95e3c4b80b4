#include <iostream>

#include "cli/Commands.h"
#include "cli/help/Completions.h"

namespace radvex::cli {

void addCompletionCommand(const CommandLine& program, Session& /*session*/) {
    auto shell = std::make_shared<std::string>();
    const CommandLine command =
        addCommand(program, "completion", "Print a script that completes this command in a shell");
    std::vector<std::string> names;
    for (const Shell& each : shells()) {
        names.push_back(each.name);
    }
    command.addRequiredChoice("SHELL", *shell, names, "bash, zsh or fish");
    command.setAction([&program, shell] { // a copy would be owned by what it owns
        for (const Shell& each : shells()) {
            if (each.name == *shell) {
                std::cout << each.completion(program.describe());
            }
        }
    });
    command.setFooter("An installed command is completed by itself where the shell looks for the scripts of programs; "
                      "otherwise ~/.bashrc may have the line: source <(radvex completion bash)");
    command.addExample("radvex completion bash", "The script for bash");
}

} // namespace radvex::cli
