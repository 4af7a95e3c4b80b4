#include <cstdio>
#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/TagNumber.h"

namespace radvex::cli {

using velmora::Store;
using velmora::Value;

namespace {

std::string firstText(const Store& store) { return (*store.begin()).cell().utf8String; }

void printKeyword(velmora::Host& host, const std::string& tag) {
    const auto number = requireTagNumber(tag);
    std::cout << host.call("GetKeyword", {number.first, number.second}).get<std::string>() << '\n';
}

/// The library answers in decimal; people write tags in hexadecimal.
void printNumber(velmora::Host& host, const std::string& keyword) {
    const Value answer = host.call("GetGroupElemNumbers", {keyword});
    auto node = answer.get<Store>().begin();
    const int group = std::stoi((*node).cell().utf8String);
    const int element = std::stoi((*++node).cell().utf8String);
    std::printf("%04X,%04X\n", static_cast<unsigned>(group), static_cast<unsigned>(element));
}

void printVr(velmora::Host& host, const std::string& tag) {
    const auto number = parseTagNumber(tag);
    const Value answer =
        number ? host.call("ReadVRNameIntTags", {Store::of({Store::ofTexts({number->first, number->second})})})
               : host.call("ReadVRName", {Store::ofTexts({tag})});
    std::cout << firstText(answer.get<Store>()) << '\n';
}

void add(const CommandLine& program, Session& session, const std::string& name, const std::string& what,
         const std::string& argument, void (*print)(velmora::Host&, const std::string&)) {
    auto text = std::make_shared<std::string>();
    const CommandLine command = program.addCommand(name, what);
    command.addRequired(argument, *text);
    command.setAction([&session, text, print] { print(session.host(), *text); });
}

} // namespace

void addDictionaryCommands(const CommandLine& program, Session& session) {
    add(program, session, "keyword", "Print the keyword of a tag given as gggg,eeee", "TAG", printKeyword);
    add(program, session, "number", "Print the tag of a keyword as gggg,eeee", "KEYWORD", printNumber);
    add(program, session, "vr", "Print the value representation of a keyword or of a tag gggg,eeee", "TAG", printVr);
}

} // namespace radvex::cli
