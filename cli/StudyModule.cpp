#include "StudyModule.h"

#include <dlfcn.h>

#include <filesystem>

#include "Module.h"
#include "OutputFile.h"

namespace radvex::cli {

namespace {

namespace fs = std::filesystem;

/// Beside the command or where it is installed; else the run path decides.
void* openModule() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* place : {"../lib", RADVEX_INSTALLED_LIBRARIES, "."}) {
        const fs::path candidate = folder / place / study::kModuleFile;
        if (fs::exists(candidate, error)) {
            return dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        }
    }
    return dlopen(study::kModuleFile, RTLD_NOW | RTLD_LOCAL);
}

template <typename Entry>
Entry entry(const char* name, const char* purpose) {
    static void* const module = openModule(); // stays: DCMTK is not made to be unloaded
    void* const symbol = module == nullptr ? nullptr : dlsym(module, name);
    if (symbol == nullptr) {
        const char* reason = dlerror();
        throw FileError(std::string(purpose) + ": " + (reason != nullptr ? reason : "no reason given") + ".");
    }
    return reinterpret_cast<Entry>(symbol);
}

} // namespace

std::unique_ptr<study::FolderIndexing> openIndexing(const std::string& folder, const std::string& place) {
    const auto start = entry<study::StartIndexingEntry>(study::kStartIndexingEntry, "Folders cannot be indexed");
    std::unique_ptr<study::FolderIndexing> indexing;
    try {
        start(folder, place, indexing);
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
    return indexing;
}

std::unique_ptr<study::Anonymization> openAnonymization(study::AnonymizationSettings settings) {
    const auto start =
        entry<study::StartAnonymizationEntry>(study::kStartAnonymizationEntry, "Files cannot be anonymized");
    std::unique_ptr<study::Anonymization> run;
    try {
        start(std::move(settings), run);
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
    return run;
}

} // namespace radvex::cli
