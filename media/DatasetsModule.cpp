#include "media/DatasetsModule.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <vector>

#include "files/Errors.h"

namespace radvex::media {

namespace {

namespace fs = std::filesystem;

constexpr const char* kModuleFile = "radvexDatasets.so";

/// The shared library that this code is part of, such as an extension of another program; empty in a program.
fs::path ownLibrary() {
    Dl_info found{};
    const bool isKnown = dladdr(reinterpret_cast<const void*>(&ownLibrary), &found) != 0 && found.dli_fname != nullptr;
    const fs::path path = isKnown ? found.dli_fname : "";
    return path.is_absolute() && path.extension() == ".so" ? path : fs::path();
}

/// Looks where the libraries of an extension are, or beside the program and where it is installed; otherwise the run
/// path decides.
void* openModule() {
    std::error_code error;
    std::vector<fs::path> folders;
    if (const fs::path library = ownLibrary(); !library.empty()) {
        folders.push_back(library.parent_path() / "lib");
    } else {
        const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
        folders = {folder / "../lib", folder / RADVEX_INSTALLED_LIBRARIES, folder};
    }
    for (const fs::path& folder : folders) {
        const fs::path candidate = folder / kModuleFile;
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
