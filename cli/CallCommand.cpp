#include <algorithm>
#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/Words.h"
#include "files/Errors.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

struct CallOptions {
    std::string function{};
    bool list = false;
    bool markdown = false;
};

/// Answers one line `[name, arg, …]`.
formats::Json answerLine(Session& session, const std::string& line) {
    try {
        const formats::Json request = formats::parseJson(line);
        if (!request.is_array() || request.empty() || !request[0].is_string()) {
            throw formats::JsonError(
                "A request is a list of a function's name and its arguments: [\"name\", arg, ...].");
        }
        std::vector<velmora::Value> arguments;
        for (std::size_t index = 1; index < request.size(); ++index) {
            arguments.push_back(formats::fromJson(request[index]));
        }
        const velmora::Value result = session.host().call(request[0].get<std::string>(), arguments);
        return {{"code", 0}, {"result", formats::toJson(result)}};
    } catch (const velmora::LibraryError& error) {
        return {{"code", error.code()}, {"name", error.name()}, {"message", error.what()}};
    } catch (const formats::JsonError& error) {
        return {{"code", nullptr}, {"name", "RequestError"}, {"message", error.what()}};
    } catch (const velmora::HostError& error) {
        return {{"code", nullptr}, {"name", "RequestError"}, {"message", error.what()}};
    }
}

void answerLines(Session& session) {
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            std::cout << formats::dumpJson(answerLine(session, line)) << std::endl;
        }
    }
}

/// `ReadImage(path: text, firstFrame: integer) -> image`
std::string signatureOf(const velmora::Declaration& function) {
    std::string text = function.name + '(';
    for (std::size_t index = 0; index < function.arguments.size(); ++index) {
        text += index == 0 ? "" : ", ";
        text += function.description.arguments[index].name;
        text += std::string(": ") + velmora::kindName(function.arguments[index]);
    }
    return text + ") -> " + velmora::kindName(function.result);
}

std::string signatureOf(const velmora::EntryPoint& entry) {
    return std::string(entry.result) + ' ' + std::string(entry.name) + std::string(entry.parameters);
}

void listFunctions() {
    for (const velmora::Declaration& function : velmora::radvexDeclarations()) {
        std::cout << signatureOf(function) << "\n    " << function.description.meaning << '\n';
    }
}

/// Prints everything that is known about one function.
void explainFunction(const std::string& name) {
    const auto& functions = velmora::radvexDeclarations();
    const auto function =
        std::find_if(functions.begin(), functions.end(), [&](const auto& candidate) { return candidate.name == name; });
    if (function == functions.end()) {
        throw UsageError("There is no function '" + name + "': 'radvex call --list' shows them all.");
    }
    const velmora::Description& description = function->description;
    std::cout << signatureOf(*function) << "\n\n" << description.meaning << "\n\n";
    for (const auto& argument : description.arguments) {
        std::cout << "  " << argument.name << ": " << argument.meaning << '\n';
    }
    if (!description.result.empty()) {
        std::cout << "  result: " << description.result << '\n';
    }
    if (!description.errors.empty()) {
        std::cout << "  errors: " << joined(description.errors) << '\n';
    }
    std::cout << '\n' << velmora::radvexSections()[description.section].text << '\n';
}

/// Text with a backslash in front of each character that has a meaning in Markdown.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        if (std::string_view("\\`*_<[").find(character) != std::string_view::npos) {
            result += '\\';
        }
        result += character;
    }
    return result;
}

void writeMarkdown(const velmora::Declaration& function) {
    const velmora::Description& description = function.description;
    std::cout << "\n### " << function.name << "\n\n`" << signatureOf(function) << "`\n\n"
              << escaped(description.meaning) << "\n\n";
    for (std::size_t index = 0; index < description.arguments.size(); ++index) {
        std::cout << "- `" << description.arguments[index].name << "`, " << velmora::kindName(function.arguments[index])
                  << ": " << escaped(description.arguments[index].meaning) << '\n';
    }
    const std::string result = description.result.empty() ? "" : ": " + escaped(description.result);
    std::cout << "- Result, " << velmora::kindName(function.result) << result << '\n';
    if (!description.errors.empty()) {
        std::cout << "- Errors: " << joined(description.errors) << '\n';
    }
}

void writeMarkdown(const velmora::EntryPoint& entry) {
    std::cout << "\n### " << entry.name << "\n\n`" << signatureOf(entry) << "`\n\n" << escaped(entry.meaning) << '\n';
}

/// Writes all functions as one page.
void writeMarkdown() {
    std::cout << "# The exported functions\n\n"
                 "Made from `include/velmora/RadvexFunctions.h` by `radvex call --markdown`: change it there.\n";
    const auto& sections = velmora::radvexSections();
    for (std::size_t section = 0; section < sections.size(); ++section) {
        std::cout << "\n## " << sections[section].title << "\n\n" << escaped(sections[section].text) << '\n';
        for (const velmora::EntryPoint& entry : velmora::radvexEntryPoints()) {
            if (entry.section == section) {
                writeMarkdown(entry);
            }
        }
        for (const velmora::Declaration& function : velmora::radvexDeclarations()) {
            if (function.description.section == section) {
                writeMarkdown(function);
            }
        }
    }
}

void run(Session& session, const CallOptions& options, const std::vector<std::string>& arguments) {
    if (options.markdown) {
        writeMarkdown();
    } else if (options.list && !options.function.empty()) {
        explainFunction(options.function);
    } else if (options.list) {
        listFunctions();
    } else if (options.function == "-") {
        answerLines(session);
    } else if (options.function.empty()) {
        throw UsageError("Name a function: 'radvex call --list' shows them all.");
    } else {
        std::vector<velmora::Value> values;
        values.reserve(arguments.size());
        for (const std::string& argument : arguments) {
            values.push_back(formats::fromJson(formats::parseJson(argument)));
        }
        const velmora::Value result = session.host().call(options.function, values);
        std::cout << formats::dumpJson(formats::toJson(result)) << '\n';
    }
}

} // namespace

void addCallCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<CallOptions>();
    const CommandLine command =
        addCommand(program, "call", "Call any exported function with JSON arguments and print its result as JSON");
    command.addOption("NAME", options->function,
                      "Function, or - to answer lines '[\"name\", arg, ...]' from standard input");
    command.leaveTheRest(); // CLI11 would read lists and options in the JSON
    command.setFooter("NAME is followed by its arguments, each one JSON value; text needs its double quotes.");
    command.addExample("radvex call GetFrameCount '\"ct.dcm\"'", "One function with one argument");
    command.addExample("radvex call --list ReadImage", "The arguments and the result of a function");
    command.addFlag("--list", options->list,
                    "List the functions with their arguments and results; with a NAME, explain that function");
    command.addFlag("--markdown", options->markdown, "Print the whole list of functions as a page in Markdown");
    command.setAction([&session, options, command] { run(session, *options, command.remaining()); });
}

} // namespace radvex::cli
