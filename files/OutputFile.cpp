#include "files/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>

#include "files/StagingFolder.h"

namespace radvex::files {

namespace {

const char* const kStandardOutput = "The standard output";
const char* const kStaged = "file";

using OutputStream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool finish(std::FILE* file, bool isWritten) {
    const bool isFlushed = std::fflush(file) == 0 && std::ferror(file) == 0;
    return isWritten && isFlushed;
}

/// The folder that a file lies in.
std::string folderOf(const std::string& path) {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
}

/// A staging folder beside a file to be written. Its errors name the file, not the folder.
StagingFolder stagingBeside(const std::string& path) {
    try {
        return StagingFolder(folderOf(path));
    } catch (const WriteError& error) {
        throw WriteError(path, error.reason());
    }
}

void copyToStandardOutput(const std::string& name) {
    const OutputStream file(std::fopen(name.c_str(), "rb"), std::fclose);
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
        throw WriteError(kStandardOutput, errno != 0 ? errno : EIO);
    }
}

} // namespace

void requireWritable(const Output& output) {
    const std::string& path = output.path;
    requireRegular(path);
    std::error_code ignored;
    const bool isTaken = std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
    if (isTaken && output.existing == Existing::Stays) {
        throw FileError(path + " exists already; --force replaces it.");
    }
}

void writeOutputFile(const Output& output, const std::function<bool(std::FILE*)>& write) {
    const std::string& path = output.path;
    if (path == "-") {
        errno = 0;
        if (!finish(stdout, write(stdout))) {
            throw WriteError(kStandardOutput, errno != 0 ? errno : EIO);
        }
        return;
    }
    writeOutputPath(output, [&](const std::string& temporary) {
        OutputStream file(std::fopen(temporary.c_str(), "wb"), std::fclose);
        if (file == nullptr) {
            throw WriteError(path, errno);
        }
        errno = 0;
        int reason = finish(file.get(), write(file.get())) ? 0 : errno != 0 ? errno : EIO;
        if (std::fclose(file.release()) != 0 && reason == 0) {
            reason = errno;
        }
        if (reason != 0) {
            throw WriteError(path, reason);
        }
    });
}

void writeOutputText(const Output& output, const std::string& text) {
    writeOutputFile(output,
                    [&](std::FILE* file) { return std::fwrite(text.data(), 1, text.size(), file) == text.size(); });
}

void writeOutputPath(const Output& output, const std::function<void(const std::string& temporary)>& write) {
    const std::string& path = output.path;
    if (path == "-") {
        const StagingFolder staging;
        write(staging.file(kStaged));
        copyToStandardOutput(staging.file(kStaged));
        return;
    }
    requireWritable(output);
    const StagingFolder staging = stagingBeside(path);
    try {
        write(staging.file(kStaged));
    } catch (...) {
        if (const int reason = whyNotLonger(staging.file(kStaged)); reason != 0) {
            throw WriteError(path, reason);
        }
        throw;
    }
    try {
        StagingFolder::publish(staging.file(kStaged), path, output.existing == Existing::MayBeReplaced);
    } catch (const WriteError& error) {
        if (error.reason() == EEXIST) {
            requireWritable(output); // made meanwhile
        }
        throw;
    }
}

void rehearseOutputPath(const Output& output, const std::function<void(const std::string& temporary)>& write,
                        const std::function<void(const std::string& temporary)>& look) {
    if (output.path != "-") {
        requireWritable(output);
        if (const int reason = whyNotWritable(folderOf(output.path)); reason != 0) {
            throw WriteError(output.path, reason);
        }
    }
    const StagingFolder staging;
    write(staging.file(kStaged));
    look(staging.file(kStaged));
}

int whyNotWritable(const std::string& folder) {
    // The point makes the system refuse what is no folder.
    return ::access((folder + "/.").c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

int whyNotLonger(const std::string& file) {
    constexpr off_t kMore = 65536;
    const int opened = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    if (opened < 0) {
        return 0; // it was not made, or is not there any more
    }
    const off_t size = ::lseek(opened, 0, SEEK_END);
    const int reason = size < 0 ? 0 : ::posix_fallocate(opened, size, kMore);
    ::close(opened);
    return reason == ENOSPC || reason == EDQUOT || reason == EFBIG ? reason : 0;
}

} // namespace radvex::files
