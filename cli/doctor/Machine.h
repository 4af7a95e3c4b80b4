#pragma once

#include <cstdint>
#include <string>

namespace radvex::cli {

/// What this process has of the machine. A number is 0 when the system does not tell.
struct Machine {
    std::size_t cores = 0; ///< that it may use
    std::uint64_t memoryBytes = 0;
    std::uint64_t freeMemoryBytes = 0; ///< that new work could have
    std::string temporaryFolder{};
    std::uint64_t freeTemporaryBytes = 0;
};

Machine lookAtMachine();

/// "512 MiB", "7.8 GiB".
std::string sizeText(std::uint64_t bytes);

} // namespace radvex::cli
