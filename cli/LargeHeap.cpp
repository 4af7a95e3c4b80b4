#include "cli/LargeHeap.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace radvex::cli {

namespace {

constexpr const char* kVariable = "GLIBC_TUNABLES";
/// Huge pages where the system grants them; buffers up to 32 MiB on the heap, which grows in steps and hardly shrinks.
constexpr const char* kSettings = "glibc.malloc.hugetlb=1:glibc.malloc.mmap_threshold=33554432:"
                                  "glibc.malloc.trim_threshold=536870912:glibc.malloc.top_pad=16777216";

/// Whether the command goes through the pixels of one file after the other. Those that hold all their pixels at once,
/// once each, are better off without: where a hypervisor has to find the memory first, huge pages took three times the
/// time.
bool reusesLargeBuffers(char** arguments) {
    constexpr std::array<std::string_view, 2> kCommands{"volume", "series"};
    bool isOne = false;
    bool isKnown = false;
    for (char** word = arguments + 1; *word != nullptr; ++word) {
        if (!isKnown && **word != '-') { // the command is the first word that is no option
            isKnown = true;
            isOne = std::find(kCommands.begin(), kCommands.end(), *word) != kCommands.end();
        }
        if (std::string_view(*word) == "--rendered") {
            return false;
        }
    }
    return isOne;
}

} // namespace

void startWithLargeHeap(char** arguments) {
    constexpr const char* kMark = "RADVEX_LARGE_HEAP";
    if (std::getenv(kMark) != nullptr) { // of this program alone, not of those that it starts
        unsetenv(kMark);
        unsetenv(kVariable);
        return;
    }
    if (std::getenv(kVariable) != nullptr || !reusesLargeBuffers(arguments)) {
        return;
    }
    if (setenv(kVariable, kSettings, 1) == 0 && setenv(kMark, "1", 1) == 0) {
        execv("/proc/self/exe", arguments); // comes back only when it fails
    }
    unsetenv(kMark);
    unsetenv(kVariable);
}

} // namespace radvex::cli
