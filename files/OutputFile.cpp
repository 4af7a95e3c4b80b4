#include "files/OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "files/Errors.h"

namespace radvex::files {

namespace {

const char* const kStandardOutput = "The standard output";

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

/// A file under a name of its own, which goes with its scope unless it was given its final name.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& beside) : mName(beside + ".XXXXXX"), mDescriptor(mkstemp(mName.data())) {
        if (mDescriptor < 0) {
            failToWrite(beside, errno);
        }
    }
    ~TemporaryFile() {
        close();
        if (!mIsRenamed) {
            unlink(mName.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& name() const { return mName; }
    /// The open descriptor, which becomes the caller's.
    int takeDescriptor() { return std::exchange(mDescriptor, -1); }
    void close() {
        if (mDescriptor >= 0) {
            ::close(std::exchange(mDescriptor, -1));
        }
    }
    void renameTo(const std::string& path) {
        if (chmod(mName.c_str(), newFileMode()) != 0 || rename(mName.c_str(), path.c_str()) != 0) {
            failToWrite(path, errno);
        }
        mIsRenamed = true;
    }

  private:
    std::string mName;
    int mDescriptor;
    bool mIsRenamed = false;
};

/// Renaming would put a file in the place of a device.
void requireFile(const std::string& path) {
    std::error_code ignored;
    const auto status = std::filesystem::status(path, ignored);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw FileError(path + " cannot be written: something is there that is no file.");
    }
}

void copyToStandardOutput(const std::string& name) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), std::fclose);
    std::array<char, 65536> block{};
    bool isWritten = file != nullptr;
    while (isWritten) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), file.get());
        isWritten = std::fwrite(block.data(), 1, got, stdout) == got && std::ferror(file.get()) == 0;
        if (got < block.size()) {
            break;
        }
    }
    if (!finish(stdout, isWritten)) {
        failToWrite(kStandardOutput, errno != 0 ? errno : EIO);
    }
}

} // namespace

void failToWrite(const std::string& path, int reason) {
    throw FileError(path + " cannot be written: " + std::strerror(reason) + ".");
}

void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write) {
    if (path == "-") {
        if (!finish(stdout, write(stdout))) {
            failToWrite(kStandardOutput, errno);
        }
        return;
    }
    requireFile(path);
    TemporaryFile temporary(path);
    std::FILE* file = fdopen(temporary.takeDescriptor(), "wb");
    errno = 0;
    const bool isWhole = file != nullptr && finish(file, write(file));
    int reason = isWhole ? 0 : errno != 0 ? errno : EIO;
    if (file != nullptr && std::fclose(file) != 0 && reason == 0) {
        reason = errno;
    }
    if (reason != 0) {
        failToWrite(path, reason);
    }
    temporary.renameTo(path);
}

void writeOutputPath(const std::string& path, const std::function<void(const std::string& temporary)>& write) {
    const bool isStandardOutput = path == "-";
    if (!isStandardOutput) {
        requireFile(path);
    }
    TemporaryFile temporary(isStandardOutput ? (std::filesystem::temp_directory_path() / "radvex").string() : path);
    temporary.close();
    write(temporary.name());
    if (isStandardOutput) {
        copyToStandardOutput(temporary.name());
    } else {
        temporary.renameTo(path);
    }
}

} // namespace radvex::files
