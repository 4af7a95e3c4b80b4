#include <cstdio>
#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/Words.h"
#include "cli/tags/TagPath.h"
#include "files/Errors.h"
#include "formats/json/Dictionary.h"

namespace radvex::cli {

using velmora::Store;
using velmora::Value;

namespace {

/// What the library answers for a tag that is not in the dictionary.
constexpr std::string_view kUnknown = "Unknown Tag & Data";

void printKeyword(velmora::Host& host, const std::string& tag) {
    const auto number = parseTagNumber(tag);
    if (!number) {
        throw UsageError("'" + tag + "' is not a tag number: write group,element in hexadecimal, such as 0010,0010.");
    }
    const auto keyword = host.call("GetKeyword", {number->first, number->second}).get<std::string>();
    if (keyword == kUnknown) {
        throw Error("The dictionary has no attribute " + number->first + ',' + number->second + '.');
    }
    std::cout << keyword << '\n';
}

void printNumber(velmora::Host& host, const std::string& keyword) {
    const auto tag = formats::Dictionary(host).tagOf(knownKeyword(host, keyword));
    std::printf("%04X,%04X\n", unsigned{tag.group}, unsigned{tag.element});
}

void printVr(velmora::Host& host, const std::string& tag) {
    const auto number = parseTagNumber(tag);
    const Value answer =
        number ? host.call("ReadVRNameIntTags", {Store::of({Store::ofTexts({number->first, number->second})})})
               : host.call("ReadVRName", {Store::ofTexts({knownKeyword(host, tag)})});
    std::cout << answer.get<Store>().view().at(0).text() << '\n';
}

CommandLine add(const CommandLine& program, Session& session, const std::string& name, const std::string& what,
                const std::string& argument, const std::string& meaning, Takes takes,
                void (*print)(velmora::Host&, const std::string&)) {
    auto text = std::make_shared<std::string>();
    CommandLine command = addCommand(program, name, what);
    command.addRequired(argument, *text, meaning, takes);
    command.setAction([&session, text, print] { print(session.host(), *text); });
    return command;
}

} // namespace

void addDictionaryCommands(const CommandLine& program, Session& session) {
    add(program, session, "keyword", "Print the keyword of a tag given as gggg,eeee", "TAG",
        "Group and element in hexadecimal", Takes::Text, printKeyword)
        .addExample("radvex keyword 0010,0010", "PatientName");
    add(program, session, "number", "Print the tag of a keyword as gggg,eeee", "KEYWORD", "Keyword in any case",
        Takes::Keyword, printNumber)
        .addExample("radvex number PatientName", "0010,0010");
    add(program, session, "vr", "Print the value representation of a keyword or of a tag gggg,eeee", "TAG",
        "Keyword, or group and element", Takes::Keyword, printVr)
        .addExample("radvex vr PatientName", "PN, a person's name");
}

} // namespace radvex::cli
