#pragma once

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

namespace radvex::test {

using Words = std::vector<std::string>;

/// These words, then the others.
Words joined(Words words, const Words& more);

struct ProcessResult {
    int status = -1; ///< exit status, or 128 + signal
    std::string output{};
    std::string errors{};
};

/// What a failed expectation prints.
inline void PrintTo(const ProcessResult& result, std::ostream* stream) {
    *stream << "status " << result.status << ", output '" << result.output << "', errors '" << result.errors << '\'';
}

/// Runs a program without a shell and waits for it.
ProcessResult runProcess(const Words& arguments, const std::string& input = "");

/// Runs the command `radvex`.
ProcessResult runRadvex(const Words& arguments, const std::string& input = "");

/// Matches a run with this exit status that said this on standard error: a text, or what a matcher accepts.
template <typename Errors>
auto exitsSaying(int status, const Errors& errors) {
    return testing::AllOf(testing::Field("status", &ProcessResult::status, status),
                          testing::Field("errors", &ProcessResult::errors, errors));
}

} // namespace radvex::test
