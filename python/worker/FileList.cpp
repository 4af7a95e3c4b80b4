#include "python/worker/FileList.h"

#include <unistd.h>

#include <array>
#include <cerrno>

#include "files/Errors.h"

namespace radvex::python {

std::vector<std::string> pathsIn(int descriptor) {
    std::string all;
    std::array<char, 1 << 16> part{};
    for (off_t offset = 0;;) {
        const ssize_t got = ::pread(descriptor, part.data(), part.size(), offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw FileError("The list of files cannot be read.");
        }
        if (got == 0) {
            break;
        }
        all.append(part.data(), static_cast<std::size_t>(got));
        offset += got;
    }
    std::vector<std::string> paths;
    for (std::size_t start = 0; start < all.size();) {
        const std::size_t end = all.find('\0', start);
        paths.push_back(all.substr(start, end - start));
        start = end == std::string::npos ? all.size() : end + 1;
    }
    return paths;
}

} // namespace radvex::python
