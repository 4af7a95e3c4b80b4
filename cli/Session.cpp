#include "cli/Session.h"

#include <filesystem>
#include <iostream>
#include <utility>

#include "cli/arguments/Messages.h"
#include "formats/json/Text.h"

namespace radvex::cli {

void printError(const std::string& message) {
    std::cout.flush();
    const char* const erased = std::exchange(Messages::ofThisRun().hasProgressLine, false) ? kEraseLine : "";
    std::cerr << erased << "radvex: " << formats::printable(message) << '\n';
}

velmora::Host& Session::host() {
    if (mHost == nullptr) {
        const std::string path = library();
        Messages::tell("The library is " + path + '.');
        mHost = velmora::Host::load(path, velmora::radvexDeclarations());
    }
    return *mHost;
}

std::string Session::findLibrary() {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const char* relative : {"../lib", RADVEX_INSTALLED_LIBRARIES, "."}) {
        const auto candidate = folder / relative / "Radvex.so";
        if (std::filesystem::exists(candidate)) {
            return std::filesystem::canonical(candidate).string();
        }
    }
    throw velmora::HostError("Radvex.so is not beside this command in " + folder.string() +
                             "; name it with --library FILE.");
}

void Session::reportRefusal(const std::string& what, const std::string& message) {
    reportFile(what, message);
    mStatus = kRefused;
}

void Session::reportFile(const std::string& what, const std::string& message) {
    const bool isNamed = what.empty() || message.starts_with(what + ' ') || message.starts_with(what + ':');
    printError(isNamed ? message : what + ": " + message);
}

void Session::endFiles(std::size_t doneCount, std::size_t failedCount) {
    if (failedCount > 0 && doneCount == 0) {
        refuse();
    } else if (failedCount > 0) {
        leaveOut();
    }
}

} // namespace radvex::cli
