#include "cli/help/Completions.h"

namespace radvex::cli {

namespace {

/// A text inside of a word that _arguments takes, where brackets and colons have a meaning.
std::string escapedForArguments(const std::string& text) {
    std::string result;
    for (const char character : text) {
        result += character == '[' || character == ']' || character == ':' || character == '\\'
                      ? std::string("\\") + character
                      : std::string(1, character);
    }
    return result;
}

/// ":FILE:_files", what is offered for a value.
std::string actionOf(const ArgumentDescription& argument) {
    std::string action = ':' + escapedForArguments(argument.isPositional ? argument.names.front() : argument.value);
    if (!argument.words.empty()) {
        action += ":(";
        for (std::size_t index = 0; index < argument.words.size(); ++index) {
            action.append(index == 0 ? "" : " ").append(escapedForArguments(argument.words[index]));
        }
        return action + ')';
    }
    if (argument.takes == Takes::Keyword || argument.takes == Takes::Assignment) {
        const std::string suffix = argument.takes == Takes::Assignment ? "-S = " : "";
        return action + ":{compadd " + suffix + "-- $(radvex help --keywords 2>/dev/null)}";
    }
    return action + (argument.takes == Takes::Folder                                  ? ":_files -/"
                     : argument.takes == Takes::File || argument.takes == Takes::Path ? ":_files"
                                                                                      : ": ");
}

/// One argument as the word that _arguments takes. Of several names each excludes the others.
std::string argumentWordOf(const ArgumentDescription& argument) {
    if (argument.isPositional) {
        const std::string start = argument.mayRepeat ? "*" : argument.isRequired ? "" : ":";
        return quotedForShell(start + actionOf(argument));
    }
    std::string names;
    std::string alternatives;
    for (const std::string& name : argument.names) {
        // The value may be the next word, or stand behind the sign.
        const char* const sign = !argument.value.empty() && name.starts_with("--") ? "=" : "";
        names.append(names.empty() ? "" : " ").append(name);
        alternatives.append(alternatives.empty() ? "" : ",").append(name).append(sign);
    }
    const std::string rest = '[' + escapedForArguments(shortMeaning(argument.meaning)) + ']' +
                             (argument.value.empty() ? "" : actionOf(argument));
    if (argument.mayRepeat) {
        return argument.names.size() == 1 ? quotedForShell('*' + alternatives + rest)
                                          : "'*'{" + alternatives + '}' + quotedForShell(rest);
    }
    return argument.names.size() == 1 ? quotedForShell(alternatives + rest)
                                      : "'(" + names + ")'{" + alternatives + '}' + quotedForShell(rest);
}

std::string argumentWordsOf(const CommandDescription& command, const std::string& indent) {
    std::string text;
    for (const ArgumentDescription& argument : command.arguments) {
        text += " \\\n" + indent + argumentWordOf(argument);
    }
    return text;
}

/// "tags:Print the attributes" for _describe.
std::string namedForDescribe(const CommandDescription& command) {
    return quotedForShell(command.name + ':' + shortMeaning(command.meaning));
}

} // namespace

std::string zshCompletion(const CommandDescription& program) {
    std::string names;
    std::string cases;
    for (const CommandDescription& command : program.commands) {
        names += "            " + namedForDescribe(command) + '\n';
        cases += "        " + command.name + ")\n            _arguments -s -S" +
                 argumentWordsOf(command, "                ") + "\n            ;;\n";
    }
    return "#compdef radvex\n"
           "# Completion of radvex for zsh, made from the options of the command itself.\n"
           "_radvex() {\n"
           "    local context state state_descr line\n"
           "    typeset -A opt_args\n"
           "    _arguments -C" +
           argumentWordsOf(program, "        ") +
           " \\\n"
           "        '1: :->command' \\\n"
           "        '*:: :->rest' && return 0\n"
           "    case $state in\n"
           "    command)\n"
           "        local -a commands\n"
           "        commands=(\n" +
           names +
           "        )\n"
           "        _describe -t commands command commands\n"
           "        ;;\n"
           "    rest)\n"
           "        case $words[1] in\n" +
           cases +
           "        esac\n"
           "        ;;\n"
           "    esac\n"
           "}\n"
           "if [[ $funcstack[1] == _radvex ]]; then\n"
           "    _radvex \"$@\"\n"
           "else\n"
           "    compdef _radvex radvex\n"
           "fi\n";
}

} // namespace radvex::cli
