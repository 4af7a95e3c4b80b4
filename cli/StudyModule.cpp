#include "StudyModule.h"

#include <dlfcn.h>

#include <filesystem>

#include "Module.h"
#include "Output.h"
#include "OutputFile.h"
#include "ProgressBar.h"

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

study::IndexFolderEntry entry() {
    static void* const module = openModule(); // stays: DCMTK is not made to be unloaded
    void* const symbol = module == nullptr ? nullptr : dlsym(module, study::kIndexFolderEntry);
    if (symbol == nullptr) {
        const char* reason = dlerror();
        throw FileError(std::string("Folders cannot be indexed: ") + (reason != nullptr ? reason : "no reason given") +
                        ".");
    }
    return reinterpret_cast<study::IndexFolderEntry>(symbol);
}

} // namespace

study::FolderIndex indexFolder(const std::string& folder, const std::string& place) {
    const study::IndexFolderEntry index = entry();
    study::FolderIndex result;
    ProgressBar bar("Indexing " + folder);
    try {
        index(
            folder, place, [&](std::size_t done, std::size_t total) { bar.show(done, total); }, result);
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
    return result;
}

void reportLeftOut(const study::FolderIndex& index) {
    if (index.skippedCount == 1) {
        printError("1 file is not DICOM and was skipped.");
    } else if (index.skippedCount > 1) {
        printError(std::to_string(index.skippedCount) + " files are not DICOM and were skipped.");
    }
    for (const study::RefusedFile& file : index.refused) {
        printError(file.path + " was not indexed: " + file.reason + ".");
    }
}

} // namespace radvex::cli
