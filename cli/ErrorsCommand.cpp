#include <iomanip>
#include <iostream>

#include "cli/Commands.h"
#include "formats/json/LosslessJson.h"

namespace radvex::cli {

void addErrorsCommand(const CommandLine& program, Session& session) {
    auto asJson = std::make_shared<bool>(false);
    const CommandLine command = addCommand(program, "errors", "List every error that the library can return");
    command.addFlag("--json", *asJson, "Print a JSON list of {id, name, message}");
    command.setAction([&session, asJson] {
        formats::Json list = formats::Json::array();
        for (const velmora::RegisteredError& error : session.host().errors()) {
            if (*asJson) {
                list.push_back({{"id", error.id}, {"name", error.name}, {"message", error.message}});
            } else {
                std::cout << std::setw(4) << error.id << "  " << std::left << std::setw(28) << error.name << std::right
                          << error.message << '\n';
            }
        }
        if (*asJson) {
            std::cout << formats::dumpJson(list, 2) << '\n';
        }
    });
    command.addExample("radvex errors", "Every error of the library with its number and its text");
}

} // namespace radvex::cli
