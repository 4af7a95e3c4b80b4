#include "tests/support/TemporaryFolder.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace radvex::test {

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "radvex-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("No temporary folder can be made from " + pattern);
    }
    mPath = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& bytes) const {
    std::ofstream(file(name), std::ios::binary) << bytes;
    return file(name);
}

std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("Cannot read " + path);
    }
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
}

} // namespace radvex::test
