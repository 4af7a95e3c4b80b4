#include "files/InputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "files/Errors.h"
#include "files/OutputFile.h"

namespace radvex::files {

namespace {

struct Close {
    void operator()(std::FILE* file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};
using OpenFile = std::unique_ptr<std::FILE, Close>;

[[noreturn]] void failToRead(const std::string& path, int reason) {
    throw FileError((path == "-" ? "The standard input" : path) + " cannot be read: " + std::strerror(reason) + ".");
}

template <typename Bytes>
Bytes readAll(const std::string& path) {
    const OpenFile file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        failToRead(path, errno);
    }
    // Reads to the end instead of asking for the size: a pipe has none.
    constexpr std::size_t kStep = std::size_t{1} << 20;
    Bytes bytes;
    std::size_t got = kStep;
    for (std::size_t length = 0; got == kStep; bytes.resize(length)) {
        bytes.resize(length + kStep);
        got = std::fread(bytes.data() + length, 1, kStep, file.get());
        length += got;
    }
    if (std::ferror(file.get()) != 0) {
        failToRead(path, errno);
    }
    return bytes;
}

} // namespace

std::vector<std::byte> readInputFile(const std::string& path) { return readAll<std::vector<std::byte>>(path); }

std::string readInputText(const std::string& path) { return readAll<std::string>(path); }

} // namespace radvex::files
