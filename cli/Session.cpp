#include "cli/Session.h"

#include <filesystem>
#include <iostream>

#include "formats/json/Text.h"

namespace radvex::cli {

void printError(const std::string& message) {
    std::cout.flush();
    std::cerr << "radvex: " << formats::printable(message) << '\n';
}

velmora::Host& Session::host() {
    if (mHost == nullptr) {
        mHost = velmora::Host::load(libraryPath.empty() ? findLibrary() : libraryPath, velmora::radvexDeclarations());
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
    printError(what.empty() ? message : what + ": " + message);
    mStatus = kRefused;
}

} // namespace radvex::cli
