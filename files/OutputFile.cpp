#include "files/OutputFile.h"

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

/// A staging folder beside a file to be written. Its errors name the file, not the folder.
StagingFolder stagingBeside(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    try {
        return StagingFolder(folder.empty() ? "." : folder.string());
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

void writeOutputFile(const std::string& path, const std::function<bool(std::FILE*)>& write) {
    if (path == "-") {
        if (!finish(stdout, write(stdout))) {
            throw WriteError(kStandardOutput, errno);
        }
        return;
    }
    writeOutputPath(path, [&](const std::string& temporary) {
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

void writeOutputText(const std::string& path, const std::string& text) {
    writeOutputFile(path,
                    [&](std::FILE* file) { return std::fwrite(text.data(), 1, text.size(), file) == text.size(); });
}

void writeOutputPath(const std::string& path, const std::function<void(const std::string& temporary)>& write) {
    if (path == "-") {
        const StagingFolder staging;
        write(staging.file(kStaged));
        copyToStandardOutput(staging.file(kStaged));
        return;
    }
    requireReplaceable(path);
    const StagingFolder staging = stagingBeside(path);
    write(staging.file(kStaged));
    StagingFolder::publish(staging.file(kStaged), path, true);
}

} // namespace radvex::files
