#include "cli/help/ManualPage.h"

#include <algorithm>

namespace radvex::cli {

namespace {

/// Text in which roff sees no command and no escape.
std::string plain(const std::string& text) {
    std::string result = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char character : text) {
        switch (character) {
        case '\\': result += "\\e"; break;
        case '-': result += "\\-"; break;
        case '\'': result += "\\(aq"; break;
        case '"': result += "\\(dq"; break;
        case '^': result += "\\(ha"; break;
        case '~': result += "\\(ti"; break;
        case '`': result += "\\(ga"; break;
        default: result += character;
        }
    }
    return result;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

/// "-o, --output FILE", or the name of a positional argument.
std::string termOf(const ArgumentDescription& argument) {
    if (argument.isPositional) {
        return italic(argument.names.front()) + (argument.mayRepeat ? " ..." : "");
    }
    std::string term;
    for (const std::string& name : argument.names) {
        term.append(term.empty() ? "" : ", ").append(bold(name));
    }
    return argument.value.empty() ? term : term + ' ' + italic(argument.value);
}

/// The description, and the values where it does not name all of them.
std::string meaningOf(const ArgumentDescription& argument) {
    std::string meaning = plain(argument.meaning.empty() ? "The " + argument.names.front() + '.' : argument.meaning);
    if (!std::ranges::all_of(argument.words, [&](const std::string& word) {
            return argument.meaning.find(word) != std::string::npos;
        })) {
        meaning += meaning.ends_with('.') ? " " : ". ";
        for (std::size_t index = 0; index < argument.words.size(); ++index) {
            meaning.append(index == 0 ? "" : ", ").append(bold(argument.words[index]));
        }
    }
    return meaning + (argument.isRequired && !argument.isPositional ? " (required)" : "");
}

void addTerm(std::string& page, const std::string& term, const std::string& meaning) {
    page.append(".TP\n").append(term).append("\n").append(meaning).append("\n");
}

std::string upperCase(std::string text) {
    for (char& letter : text) {
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return text;
}

void addSynopsis(std::string& page, const CommandDescription& program, const CommandDescription* command) {
    page += ".SH SYNOPSIS\n" + bold(program.name);
    if (command == nullptr) {
        page += " [" + italic("OPTIONS") + "] " + italic("COMMAND") + " ...\n";
        return;
    }
    const auto& all = command->arguments;
    const bool hasOptions = std::ranges::any_of(all, [](const auto& argument) { return !argument.isPositional; });
    page += ' ' + bold(command->name) + (hasOptions ? " [" + italic("OPTIONS") + "]" : "");
    for (const ArgumentDescription& argument : all) {
        if (argument.isRequired && !argument.isPositional) {
            page += ' ' + bold(argument.names.front()) + ' ' + italic(argument.value);
        }
    }
    for (const ArgumentDescription& argument : all) {
        if (argument.isPositional) {
            page += argument.isRequired ? ' ' + termOf(argument) : " [" + termOf(argument) + "]";
        }
    }
    page += '\n';
}

/// Positional arguments first, then the options of each group below its title.
void addArguments(std::string& page, const std::vector<ArgumentDescription>& arguments) {
    std::vector<std::string> titles;
    for (const ArgumentDescription& argument : arguments) {
        const std::string title = upperCase(argument.isPositional ? "Arguments" : argument.group);
        if (std::ranges::find(titles, title) == titles.end()) {
            titles.insert(argument.isPositional ? titles.begin() : titles.end(), title);
        }
    }
    for (const std::string& title : titles) {
        page += ".SH " + title + '\n';
        for (const ArgumentDescription& argument : arguments) {
            if (title == upperCase(argument.isPositional ? "Arguments" : argument.group)) {
                addTerm(page, termOf(argument), meaningOf(argument));
            }
        }
    }
}

void addNotes(std::string& page, const std::vector<std::string>& notes) {
    for (std::size_t index = 0; index < notes.size(); ++index) {
        page.append(index == 0 ? ".SH NOTES\n" : ".PP\n").append(plain(notes[index])) += '\n';
    }
}

/// The note of the program says what each status means: "Exit status: 0 all done; 1 something ...".
void addExitStatus(std::string& page, const std::vector<std::string>& notes) {
    static const std::string kStart = "Exit status: ";
    for (const std::string& note : notes) {
        if (!note.starts_with(kStart)) {
            continue;
        }
        page += ".SH EXIT STATUS\n";
        for (std::size_t at = kStart.size(); at < note.size();) {
            const std::size_t end = std::min(note.find("; ", at), note.size());
            const std::size_t blank = note.find(' ', at);
            addTerm(page, bold(note.substr(at, blank - at)), plain(note.substr(blank + 1, end - blank - 1)));
            at = end + 2;
        }
    }
}

void addExamples(std::string& page, const CommandDescription& command) {
    if (command.examples.empty()) {
        return;
    }
    page += ".SH EXAMPLES\n";
    for (const auto& [words, meaning] : command.examples) {
        addTerm(page, bold(words), plain(meaning));
    }
}

void addSeeAlso(std::string& page, const CommandDescription& program, const CommandDescription* command) {
    page += ".SH SEE ALSO\n";
    if (command != nullptr) {
        page += ".BR " + plain(program.name) + " (1)\n";
        return;
    }
    for (std::size_t index = 0; index < program.commands.size(); ++index) {
        page += ".BR " + plain(manualName(program, &program.commands[index])) + " (1)" +
                (index + 1 < program.commands.size() ? "," : "") + '\n';
    }
}

} // namespace

std::string manualName(const CommandDescription& program, const CommandDescription* command) {
    return command == nullptr ? program.name : program.name + '-' + command->name;
}

std::string manualPage(const CommandDescription& program, const CommandDescription* command, const std::string& version,
                       const std::string& date) {
    const CommandDescription& subject = command == nullptr ? program : *command;
    const std::string name = manualName(program, command);
    std::string page = ".\\\" Made from the options of the command itself.\n.TH " + plain(upperCase(name)) + " 1 \"" +
                       date + "\" \"" + plain(program.name + ' ' + version) + "\" \"User Commands\"\n";
    std::string meaning = subject.meaning;
    meaning.erase(meaning.find_last_not_of('.') + 1);
    page += ".SH NAME\n" + plain(name) + " \\- " + plain(meaning) + '\n';
    addSynopsis(page, program, command);
    if (command == nullptr) {
        page += ".SH COMMANDS\n";
        for (const CommandDescription& each : program.commands) {
            addTerm(page, bold(each.name), plain(each.meaning));
        }
    }
    addArguments(page, subject.arguments);
    if (command != nullptr) {
        addNotes(page, command->notes);
    }
    addExitStatus(page, program.notes);
    addExamples(page, subject);
    addSeeAlso(page, program, command);
    return page;
}

} // namespace radvex::cli
