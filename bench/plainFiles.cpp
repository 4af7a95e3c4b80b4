// What the bytes alone cost, without a look at them: `plainFiles read PATH` (a folder counts with all its files),
// `plainFiles write PATH BYTES`, `plainFiles copy FOLDER OUT`.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// A descriptor that is closed with its scope.
class Descriptor {
  public:
    Descriptor(const fs::path& path, int flags) : mNumber(open(path.c_str(), flags, 0644)) {
        if (mNumber < 0) {
            std::perror(path.c_str());
            std::exit(1);
        }
    }
    ~Descriptor() { close(mNumber); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return mNumber; }

  private:
    int mNumber;
};

std::vector<char>& block() {
    static std::vector<char> bytes(1 << 20);
    return bytes;
}

void writeBytes(const Descriptor& file, std::size_t count) {
    while (count > 0) {
        const ssize_t written = write(file.number(), block().data(), std::min(count, block().size()));
        if (written <= 0) {
            std::perror("write");
            std::exit(1);
        }
        count -= static_cast<std::size_t>(written);
    }
}

/// @param out  the copy, or empty
std::size_t readFile(const fs::path& path, const fs::path& out) {
    const Descriptor file(path, O_RDONLY);
    std::size_t total = 0;
    for (;;) {
        const ssize_t count = read(file.number(), block().data(), block().size());
        if (count < 0) {
            std::perror(path.c_str());
            std::exit(1);
        }
        if (count == 0) {
            break;
        }
        total += static_cast<std::size_t>(count);
    }
    if (!out.empty()) { // the bytes as such do not matter
        writeBytes(Descriptor(out, O_WRONLY | O_CREAT | O_TRUNC), total);
    }
    return total;
}

std::size_t readAll(const fs::path& path, const fs::path& out) {
    if (!fs::is_directory(path)) {
        return readFile(path, out);
    }
    std::size_t total = 0;
    for (const auto& entry : fs::directory_iterator(path)) {
        total += readFile(entry.path(), out.empty() ? out : out / entry.path().filename());
    }
    return total;
}

} // namespace

int main(int argc, char** argv) {
    const std::string job = argc > 2 ? argv[1] : "";
    if (job == "read") {
        std::printf("%zu bytes\n", readAll(argv[2], ""));
    } else if (job == "copy" && argc > 3) {
        fs::create_directories(argv[3]);
        std::printf("%zu bytes\n", readAll(argv[2], argv[3]));
    } else if (job == "write" && argc > 3) {
        writeBytes(Descriptor(argv[2], O_WRONLY | O_CREAT | O_TRUNC), std::stoull(argv[3]));
    } else {
        std::fprintf(stderr, "Usage: plainFiles read PATH | write PATH BYTES | copy FOLDER OUT\n");
        return 2;
    }
}
