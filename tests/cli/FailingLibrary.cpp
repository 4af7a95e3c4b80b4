// The library, but it ends the process when it is to read a file whose name ends with what RADVEX_TEST_ENDS_AT says, as
// a defect in the reading of that file would. What is not here comes from the library itself, which this one needs.

#include <dlfcn.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "velmora/VelmoraLibrary.h"

namespace {

using Function = int (*)(VelmoraLibraryData, vint, VArgument*, VArgument);

void actOn(const char* path) {
    const char* end = std::getenv("RADVEX_TEST_ENDS_AT");
    char target[PATH_MAX];
    if (end != nullptr && ::realpath(path, target) != nullptr && std::string(target).ends_with(end)) {
        (void)std::signal(SIGSEGV, SIG_DFL); // a sanitizer would make a report of it
        (void)std::raise(SIGSEGV);
    }
}

} // namespace

#define FAILING(name)                                                                                                  \
    extern "C" __attribute__((visibility("default"))) int name(VelmoraLibraryData libData, vint argc, VArgument* args, \
                                                               VArgument res) {                                        \
        static const auto next = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, #name));                                \
        actOn(*args[0].utf8String);                                                                                    \
        return next(libData, argc, args, res);                                                                         \
    }

/// Changes the last byte of a new file whose name ends with what RADVEX_TEST_SPOILS says, as a wrong encoder would.
extern "C" __attribute__((visibility("default"))) int WriteImage(VelmoraLibraryData libData, vint argc, VArgument* args,
                                                                 VArgument res) {
    static const auto next = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "WriteImage"));
    const std::string path = *args[0].utf8String;
    const int code = next(libData, argc, args, res);
    const char* const spoiled = std::getenv("RADVEX_TEST_SPOILS");
    if (spoiled != nullptr && path.ends_with(spoiled)) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(-1, std::ios::end);
        const int last = file.get();
        file.seekp(-1, std::ios::end);
        file.put(static_cast<char>(last ^ 1));
    }
    return code;
}

FAILING(ReadMetadata)
FAILING(ReadAllMetadata)
FAILING(ReadMetadataIntTags)
FAILING(ReadImage)
FAILING(ReadDICOMDIRStructure)
FAILING(DicomAnonymize)
