#include "cli/help/Completions.h"

namespace radvex::cli {

namespace {

std::string joinedBy(const std::vector<std::string>& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words) {
        text.append(text.empty() ? "" : separator).append(word);
    }
    return text;
}

/// What is offered for a value: the words of a choice, files, folders, or nothing for a text that only its author
/// knows.
std::string offerOf(const ArgumentDescription& argument) {
    if (!argument.words.empty()) {
        return "words=" + quotedForShell(joinedBy(argument.words, " "));
    }
    if (argument.takes == Takes::Keyword || argument.takes == Takes::Assignment) {
        return argument.takes == Takes::Keyword ? "kind=keyword" : "kind=assignment";
    }
    return argument.takes == Takes::Folder                                  ? "kind=folder"
           : argument.takes == Takes::File || argument.takes == Takes::Path ? "kind=file"
                                                                            : "kind=text";
}

std::string optionNames(const CommandDescription& command) {
    std::vector<std::string> names;
    for (const ArgumentDescription& argument : command.arguments) {
        if (!argument.isPositional) {
            names.insert(names.end(), argument.names.begin(), argument.names.end());
        }
    }
    return quotedForShell(joinedBy(names, " "));
}

/// Names of the options with a value, as patterns of `case`: "-o|--output".
std::string patternOf(const ArgumentDescription& argument, const std::string& before) {
    std::vector<std::string> names;
    for (const std::string& name : argument.names) {
        names.push_back(quotedForShell(before + name));
    }
    return joinedBy(names, "|");
}

/// The lines of `case "$command $before"` for the options of one command that take a value.
std::string valueCases(const CommandDescription& command, const std::string& name) {
    std::string cases;
    for (const ArgumentDescription& argument : command.arguments) {
        if (!argument.isPositional && !argument.value.empty()) {
            cases += "        " + patternOf(argument, name + ' ') + ") " + offerOf(argument) + ";;\n";
        }
    }
    return cases;
}

/// The lines of `case "$command"` for one command: its options, and what stands for its positional arguments.
std::string commandCase(const CommandDescription& command) {
    std::string offer = "kind=text";
    for (const ArgumentDescription& argument : command.arguments) {
        if (argument.isPositional && (offer == "kind=text" || offer == "kind=folder")) {
            offer = offerOf(argument);
        }
    }
    return "        " + command.name + ") options=" + optionNames(command) + "; [[ -n $kind$words ]] || " + offer +
           ";;\n";
}

} // namespace

std::string bashCompletion(const CommandDescription& program) {
    std::string valueOptions;
    for (const ArgumentDescription& argument : program.arguments) {
        if (!argument.value.empty()) {
            valueOptions += (valueOptions.empty() ? "" : "|") + patternOf(argument, "");
        }
    }
    std::vector<std::string> names;
    std::string values = valueCases(program, "");
    std::string commands;
    for (const CommandDescription& command : program.commands) {
        names.push_back(command.name);
        values += valueCases(command, command.name);
        commands += commandCase(command);
    }
    return "# Completion of radvex for bash, made from the options of the command itself.\n"
           "_radvex() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    local command= kind= words= options= onlyFiles= at\n"
           "    COMPREPLY=()\n"
           "    # bash splits --option=value at the sign\n"
           "    if [[ $current == = ]]; then\n"
           "        current=\n"
           "    elif [[ $before == = ]]; then\n"
           "        before=${COMP_WORDS[COMP_CWORD-2]}\n"
           "    fi\n"
           "    [[ $COMP_CWORD -gt 2 && ${COMP_WORDS[COMP_CWORD-1]} == = && $before != -* ]] && return\n"
           "    for ((at = 1; at < COMP_CWORD; ++at)); do\n"
           "        case ${COMP_WORDS[at]} in\n"
           "        --) onlyFiles=1; break;;\n"
           "        " +
           valueOptions +
           ") [[ -n $command ]] || at=$((at + 1));;\n"
           "        -*|=) ;;\n"
           "        *) [[ -n $command ]] || command=${COMP_WORDS[at]};;\n"
           "        esac\n"
           "    done\n"
           "    [[ -n $onlyFiles ]] || case \"$command $before\" in\n" +
           values +
           "    esac\n"
           "    local isValue=$kind$words\n"
           "    case $command in\n"
           "        '') options=" +
           optionNames(program) + "; [[ -n $kind$words ]] || words=" + quotedForShell(joinedBy(names, " ")) + ";;\n" +
           commands +
           "    esac\n"
           "    if [[ -n $onlyFiles ]]; then\n"
           "        kind=file words=\n"
           "    elif [[ -z $isValue && $current == -* ]]; then\n"
           "        kind= words=$options\n"
           "    fi\n"
           "    case $kind in\n"
           "    file) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- \"$current\");;\n"
           "    folder) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- \"$current\");;\n"
           "    keyword) mapfile -t COMPREPLY < <(compgen -W \"$(radvex help --keywords 2>/dev/null)\" -- "
           "\"$current\");;\n"
           "    assignment) compopt -o nospace 2>/dev/null\n"
           "        mapfile -t COMPREPLY < "
           "<(compgen -S = -W \"$(radvex help --keywords 2>/dev/null)\" -- \"$current\");;\n"
           "    *) mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\");;\n"
           "    esac\n"
           "}\n"
           "complete -F _radvex radvex\n";
}

} // namespace radvex::cli
