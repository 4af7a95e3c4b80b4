#include "cli/doctor/Machine.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

namespace radvex::cli {

namespace {

constexpr std::uint64_t kKibibyte = 1024;

/// A line of /proc/meminfo, such as "MemTotal:  8049512 kB", in bytes.
std::uint64_t memoryLine(const std::string& name) {
    std::ifstream lines("/proc/meminfo");
    std::string word;
    std::uint64_t kibibytes = 0;
    while (lines >> word) {
        if (word == name && lines >> kibibytes) {
            return kibibytes * kKibibyte;
        }
    }
    return 0;
}

} // namespace

Machine lookAtMachine() {
    Machine machine{.cores = std::thread::hardware_concurrency(),
                    .memoryBytes = memoryLine("MemTotal:"),
                    .freeMemoryBytes = memoryLine("MemAvailable:")};
    std::error_code error;
    machine.temporaryFolder = std::filesystem::temp_directory_path(error).string();
    const std::filesystem::space_info space = std::filesystem::space(machine.temporaryFolder, error);
    machine.freeTemporaryBytes = error ? 0 : space.available;
    return machine;
}

std::string sizeText(std::uint64_t bytes) {
    const double mebibytes = static_cast<double>(bytes) / (1024.0 * 1024.0);
    char text[32];
    if (mebibytes < 1024) {
        std::snprintf(text, sizeof text, "%.0f MiB", mebibytes);
    } else {
        std::snprintf(text, sizeof text, "%.1f GiB", mebibytes / 1024);
    }
    return text;
}

} // namespace radvex::cli
