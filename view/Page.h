#pragma once

#include <string>
#include <vector>

namespace radvex::view {

/// A file of the page.
struct Asset {
    std::string name{}; ///< "page.js"; empty for the page itself
    std::string type{}; ///< "text/html; charset=utf-8"
    std::string content{};
};

/// The folder with the files of the page, beside this program or where it is installed; empty if there is none, because
/// the program was built without it.
std::string pageFolder();

/// The files of the page. @throws FileError  there is no page in the folder, or it cannot be read
std::vector<Asset> loadPage(const std::string& folder);

} // namespace radvex::view
