#include "media/DatasetsModule.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>

#include "files/Errors.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

constexpr const char* kModuleFile = "radvexDatasets.so";

/// Looks beside the program and where it is installed; otherwise the run path decides.
void* openModule() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* relative : {"../lib", RADVEX_INSTALLED_LIBRARIES, "."}) {
        const fs::path candidate = folder / relative / kModuleFile;
        if (fs::exists(candidate, error)) {
            return dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        }
    }
    return dlopen(kModuleFile, RTLD_NOW | RTLD_LOCAL);
}

} // namespace

void* datasetsEntry(const char* name, const char* purpose) {
    static void* const module = openModule(); // never unloaded: DCMTK does not support it
    void* const entry = module == nullptr ? nullptr : dlsym(module, name);
    if (entry == nullptr) {
        const char* reason = dlerror();
        throw FileError(std::string(purpose) + ": " + (reason != nullptr ? reason : "no reason given") + ".");
    }
    return entry;
}

} // namespace radvex::media
