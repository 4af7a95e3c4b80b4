// A library for tests of the command. It ends or delays the process when the name of a file says so, as a defect in
// reading that file would. It has the functions that `radvex frames` calls.

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "velmora/VelmoraLibrary.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))
#define FUNCTION(name)                                                                                                 \
    EXPORTED int name([[maybe_unused]] VelmoraLibraryData libData, [[maybe_unused]] vint argc,                         \
                      [[maybe_unused]] VArgument* args, [[maybe_unused]] VArgument res)

namespace {

std::string resultText;

/// The number behind a word in a name; -1 when the word is absent.
int numberAfter(const std::string& name, const std::string& word) {
    const std::size_t offset = name.find(word);
    return offset == std::string::npos ? -1 : std::atoi(name.c_str() + offset + word.size());
}

void actOn(const std::string& name) {
    if (const int number = numberAfter(name, "signal-"); number > 0) {
        (void)std::signal(number, SIG_DFL); // a sanitizer would make a report of it
        (void)std::raise(number);
    }
    if (const int status = numberAfter(name, "exit-"); status >= 0) {
        ::_exit(status);
    }
    if (const int milliseconds = numberAfter(name, "wait-"); milliseconds > 0) {
        ::usleep(static_cast<useconds_t>(milliseconds) * 1000);
    }
}

} // namespace

EXPORTED int VelmoraLibrary_initialize(VelmoraLibraryData) { return 0; }
EXPORTED void VelmoraLibrary_uninitialize(VelmoraLibraryData) { resultText.clear(); }

FUNCTION(setExceptionDetailsContext) {
    resultText = std::string(*args[0].utf8String) + "Details";
    *res.utf8String = resultText.data();
    return 0;
}

EXPORTED int sendRegisteredErrors(VelmoraLibraryData, TTLink link) {
    int count = 0;
    TTTestHead(link, "List", &count);
    TTNewPacket(link);
    TTPutFunction(link, "Association", 0);
    TTEndPacket(link);
    return 0;
}

FUNCTION(GetFrameCount) {
    const std::string name = *args[0].utf8String;
    actOn(name);
    *res.integer = static_cast<vint>(name.size());
    return 0;
}

FUNCTION(GetRepresentativeFrameIndex) {
    *res.integer = 1;
    return 0;
}

FUNCTION(GetOverlayCount) {
    *res.integer = 0;
    return 0;
}

FUNCTION(CloseReader) { return 0; }
