#include "cli/doctor/LibraryVersions.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <filesystem>

#include "cli/arguments/CommandLine.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

/// Asks a library for its version.
/// @param function  the address of its function
using Ask = std::string (*)(void* function);

std::string askForText(void* function) { return reinterpret_cast<const char* (*)()>(function)(); }

std::string askLibpng(void* function) { return reinterpret_cast<const char* (*)(void*)>(function)(nullptr); }

std::string askIcu(void* function) {
    std::array<std::uint8_t, 4> numbers{};
    reinterpret_cast<void (*)(std::uint8_t*)>(function)(numbers.data());
    return std::to_string(numbers[0]) + '.' + std::to_string(numbers[1]);
}

std::string askNobody(void* /*function*/) { return ""; }

struct SharedLibrary {
    const char* name;
    const char* start;    ///< of the name of its file
    const char* function; ///< that tells the version; ICU's names have the number of the release behind them
    Ask ask;
};

// What Radvex.so, its module, and this program load. One that is not loaded is not listed.
constexpr std::array kShared{SharedLibrary{"DCMTK", "libdcmtk.so", "", askNobody},
                             SharedLibrary{"ICU", "libicuuc.so", "u_getVersion_", askIcu},
                             SharedLibrary{"OpenJPEG", "libopenjp2.so", "opj_version", askForText},
                             SharedLibrary{"libpng", "libpng16.so", "png_get_libpng_ver", askLibpng},
                             SharedLibrary{"zlib", "libz.so", "zlibVersion", askForText},
                             SharedLibrary{"NIfTI", "libnifti2.so", "", askNobody}};

int notePath(dl_phdr_info* library, std::size_t /*size*/, void* paths) {
    static_cast<std::vector<std::string>*>(paths)->emplace_back(library->dlpi_name);
    return 0;
}

/// What stands behind ".so." in a name: "72.1".
std::string numberIn(const std::string& name) {
    const std::size_t mark = name.find(".so.");
    return mark == std::string::npos ? "" : name.substr(mark + 4);
}

/// The version that the loaded library tells, or the one in the name of its file.
std::string versionOf(const SharedLibrary& known, const std::filesystem::path& path) {
    std::string function = known.function;
    if (function.ends_with('_')) {
        function += numberIn(path.filename().string());
    }
    void* const library = function.empty() ? nullptr : dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    void* const address = library == nullptr ? nullptr : dlsym(library, function.c_str());
    std::string version = address == nullptr ? "" : known.ask(address);
    if (library != nullptr) {
        (void)dlclose(library);
    }
    std::error_code error;
    return version.empty() ? numberIn(std::filesystem::canonical(path, error).filename().string()) : version;
}

std::string jsonLibraryVersion() {
    return std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + '.' + std::to_string(NLOHMANN_JSON_VERSION_MINOR) + '.' +
           std::to_string(NLOHMANN_JSON_VERSION_PATCH);
}

} // namespace

std::vector<LibraryVersion> libraryVersions() {
    std::vector<std::string> paths;
    (void)dl_iterate_phdr(notePath, &paths);
    std::vector<LibraryVersion> versions;
    for (const SharedLibrary& known : kShared) {
        const auto found = std::ranges::find_if(paths, [&](const std::string& path) {
            return std::filesystem::path(path).filename().string().starts_with(known.start);
        });
        const bool isDcmtk = std::string_view(known.name) == "DCMTK"; // its headers say what its file does not
        if (isDcmtk || found != paths.end()) {
            const std::string file = found == paths.end() ? "" : *found;
            versions.push_back({known.name, isDcmtk ? RADVEX_DCMTK_VERSION : versionOf(known, file), file});
        }
    }
    versions.push_back({"CLI11", CommandLine::parserVersion(), ""});
    versions.push_back({"JSON for Modern C++", jsonLibraryVersion(), ""});
    return versions;
}

std::vector<std::string> dcmtkPatches() {
    std::vector<std::string> names;
    const std::string list = RADVEX_DCMTK_PATCHES;
    for (std::size_t start = 0; start < list.size();) {
        const std::size_t end = std::min(list.find(',', start), list.size());
        names.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

std::string versionLines() {
    std::string lines;
    for (const LibraryVersion& library : libraryVersions()) {
        lines += library.name + ' ' + library.version;
        if (library.name == "DCMTK") {
            lines += " with " + formats::counted(dcmtkPatches().size(), "patch", "patches");
        }
        lines += '\n';
    }
    return lines;
}

} // namespace radvex::cli
