#include "OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace radvex::cli {

namespace {

[[noreturn]] void fail(const std::string& path, int reason) {
    throw FileError(path + " cannot be written: " + std::strerror(reason) + ".");
}

/// Permissions of a new file: what the user's mask leaves, and not mkstemp's own.
mode_t newFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool finish(std::FILE* file, bool isWritten) {
    const bool isFlushed = std::fflush(file) == 0 && std::ferror(file) == 0;
    return isWritten && isFlushed;
}

} // namespace

void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write) {
    if (path == "-") {
        if (!finish(stdout, write(stdout))) {
            fail("The standard output", errno);
        }
        return;
    }
    std::string temporary = path + ".XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0) {
        fail(path, errno);
    }
    std::FILE* file = fdopen(descriptor, "wb");
    errno = 0;
    const bool isWhole = file != nullptr && finish(file, write(file));
    int reason = isWhole ? 0 : errno != 0 ? errno : EIO;
    if (file != nullptr && std::fclose(file) != 0 && reason == 0) {
        reason = errno;
    }
    if (reason == 0 && (chmod(temporary.c_str(), newFileMode()) != 0 || rename(temporary.c_str(), path.c_str()) != 0)) {
        reason = errno;
    }
    if (reason != 0) {
        unlink(temporary.c_str());
        fail(path, reason);
    }
}

} // namespace radvex::cli
