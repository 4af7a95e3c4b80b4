#include <iostream>

#include "cli/Commands.h"
#include "files/Errors.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

struct CallOptions {
    std::string function{};
    bool list = false;
};

std::vector<velmora::Value> parseArguments(const std::vector<std::string>& texts) {
    std::vector<velmora::Value> arguments;
    arguments.reserve(texts.size());
    for (const std::string& text : texts) {
        arguments.push_back(formats::fromJson(formats::parseJson(text)));
    }
    return arguments;
}

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

void listFunctions() {
    static constexpr const char* kKinds[] = {"nothing",      "boolean", "integer", "real", "complex", "tensor",
                                             "sparse array", "array",   "image",   "text", "store"};
    for (const velmora::Declaration& function : velmora::radvexDeclarations()) {
        std::cout << function.name << '(';
        for (std::size_t index = 0; index < function.arguments.size(); ++index) {
            std::cout << (index == 0 ? "" : ", ") << kKinds[function.arguments[index]];
        }
        std::cout << ") -> " << kKinds[function.result] << '\n';
    }
}

void run(Session& session, const CallOptions& options, const std::vector<std::string>& arguments) {
    if (options.list) {
        listFunctions();
    } else if (options.function == "-") {
        answerLines(session);
    } else if (options.function.empty()) {
        throw UsageError("Name a function: 'radvex call --list' shows them all.");
    } else {
        const velmora::Value result = session.host().call(options.function, parseArguments(arguments));
        std::cout << formats::dumpJson(formats::toJson(result)) << '\n';
    }
}

} // namespace

void addCallCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<CallOptions>();
    const CommandLine command =
        program.addCommand("call", "Call any exported function with JSON arguments and print its result "
                                   "as JSON");
    command.addOption("NAME", options->function,
                      "Function, or - to answer lines '[\"name\", arg, ...]' from standard input");
    command.leaveTheRest(); // CLI11 would take a list or a number apart
    command.setFooter("NAME is followed by its arguments, each one JSON value; text needs its double quotes:\n"
                      "  radvex call GetFrameCount '\"scan.dcm\"'");
    command.addFlag("--list", options->list, "List the functions with their arguments and results");
    command.setAction([&session, options, command] { run(session, *options, command.remaining()); });
}

} // namespace radvex::cli
