#include "cli/help/Completions.h"

namespace radvex::cli {

namespace {

/// The text in single quotation marks, as fish reads it.
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        result += character == '\'' || character == '\\' ? std::string("\\") + character : std::string(1, character);
    }
    return result + '\'';
}

/// What is offered for a value or a positional argument.
std::string offerOf(const ArgumentDescription& argument) {
    if (!argument.words.empty()) {
        std::string words;
        for (const std::string& word : argument.words) {
            words.append(words.empty() ? "" : " ").append(word);
        }
        return " -a " + quoted(words);
    }
    if (argument.takes == Takes::Keyword || argument.takes == Takes::Assignment) {
        const std::string suffix = argument.takes == Takes::Assignment ? "=" : "";
        return " -a '(radvex help --keywords 2>/dev/null)" + suffix + "'";
    }
    return argument.takes == Takes::Folder                                  ? " -a '(__fish_complete_directories)'"
           : argument.takes == Takes::File || argument.takes == Takes::Path ? " -F"
                                                                            : "";
}

void addArgument(std::string& script, const std::string& condition, const ArgumentDescription& argument) {
    const std::string start = "complete -c radvex -n " + quoted(condition);
    if (argument.isPositional) {
        const std::string offer = offerOf(argument);
        script += offer.empty() ? "" : start + offer + '\n';
        return;
    }
    script += start;
    for (const std::string& name : argument.names) {
        script += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    const std::string offer = offerOf(argument);
    script += argument.value.empty() ? "" : (offer == " -F" ? " -r" : " -x") + offer; // -x excludes files
    script += " -d " + quoted(shortMeaning(argument.meaning)) + '\n';
}

} // namespace

std::string fishCompletion(const CommandDescription& program) {
    std::string valueOptions;
    for (const ArgumentDescription& argument : program.arguments) {
        for (const std::string& name : argument.names) {
            valueOptions += argument.value.empty() ? "" : (valueOptions.empty() ? "" : " ") + name;
        }
    }
    std::string script =
        "# Completion of radvex for fish, made from the options of the command itself.\n"
        "function __radvex_is --description 'Whether this is the command of the line; none: an empty one'\n"
        "    set -l words (commandline -opc)\n"
        "    set -e words[1]\n"
        "    while set -q words[1]\n"
        "        switch $words[1]\n"
        "            case " +
        valueOptions +
        "\n"
        "                set -e words[1]\n"
        "            case '-*'\n"
        "            case '*'\n"
        "                test $words[1] = \"$argv\"\n"
        "                return\n"
        "        end\n"
        "        set -e words[1]\n"
        "    end\n"
        "    test -z \"$argv\"\n"
        "end\n"
        "complete -c radvex -f\n";
    for (const ArgumentDescription& argument : program.arguments) {
        addArgument(script, "__radvex_is", argument);
    }
    for (const CommandDescription& command : program.commands) {
        script += "complete -c radvex -n __radvex_is -a " + command.name + " -d " +
                  quoted(shortMeaning(command.meaning)) + '\n';
    }
    for (const CommandDescription& command : program.commands) {
        for (const ArgumentDescription& argument : command.arguments) {
            addArgument(script, "__radvex_is " + command.name, argument);
        }
    }
    return script;
}

} // namespace radvex::cli
