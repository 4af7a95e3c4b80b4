#include "view/Page.h"

#include <array>
#include <filesystem>
#include <string_view>

#include "files/Errors.h"
#include "files/InputFile.h"

namespace radvex::view {

namespace {

namespace fs = std::filesystem;

struct PageFile {
    std::string_view name;
    std::string_view type;
};

constexpr std::array kFiles{
    PageFile{"index.html", "text/html; charset=utf-8"},
    PageFile{"page.css", "text/css; charset=utf-8"},
    PageFile{"page.js", "text/javascript; charset=utf-8"},
    PageFile{"volume.js", "text/javascript; charset=utf-8"},
};

} // namespace

std::string pageFolder() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* relative : {"../page", RADVEX_INSTALLED_PAGE, "page"}) {
        const fs::path candidate = folder / relative;
        if (fs::exists(candidate / kFiles.front().name, error)) {
            return fs::canonical(candidate, error).string();
        }
    }
    return "";
}

std::vector<Asset> loadPage(const std::string& folder) {
    std::vector<Asset> assets;
    for (const PageFile& file : kFiles) {
        const bool isThePage = &file == &kFiles.front();
        assets.push_back({isThePage ? "" : std::string(file.name), std::string(file.type),
                          files::readInputText((fs::path(folder) / file.name).string())});
    }
    return assets;
}

} // namespace radvex::view
