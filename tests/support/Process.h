#pragma once

#include <string>
#include <vector>

namespace radvex::test {

struct ProcessResult {
    int status = -1; ///< exit status, or 128 + signal
    std::string output{};
    std::string errors{};
};

/// Runs a program without a shell and waits for it.
ProcessResult runProcess(const std::vector<std::string>& arguments, const std::string& input = "");

/// Runs the command `radvex`.
ProcessResult radvex(std::vector<std::string> arguments, const std::string& input = "");

} // namespace radvex::test
