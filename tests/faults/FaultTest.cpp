#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Process.h"

using radvex::test::ProcessResult;
using radvex::test::runProcess;

namespace {

constexpr int kScriptParts = 2;

/// Calls in DCMTK and OpenJPEG in which a fault kills.
std::set<std::string> knownCrashes() {
    std::set<std::string> crashes;
    std::ifstream table(RADVEX_SOURCE_DIR "/tests/faults/knownCrashes.txt");
    for (std::string line; std::getline(table, line);) {
        if (!line.empty() && line.front() != '#') {
            crashes.insert(line);
        }
    }
    return crashes;
}

/// What was refused and how it ended: "DEATH memory" and the innermost function, "HANG read" and nothing more, since
/// where a process is stopped is chance.
std::string crashOf(const std::string& line) {
    const std::string outcome = line.substr(0, line.find(' '));
    const std::size_t point = line.find(": ") + 2;
    const std::string family = line.substr(point, line.find(' ', point) - point);
    const std::size_t chain = line.find(": ", line.find(": signal ") + 2) + 2;
    const std::string function = outcome == "HANG" ? "" : " " + line.substr(chain, line.find(" < ", chain) - chain);
    return outcome + " " + family + function;
}

bool isKnown(const std::string& line, const std::set<std::string>& crashes) {
    const bool isCrash = line.rfind("DEATH ", 0) == 0 || line.rfind("HANG ", 0) == 0;
    return isCrash && crashes.contains(crashOf(line));
}

/// All calls are tried when RADVEX_FAULTS is "all", which takes some minutes.
bool areAllTried() {
    const char* wish = std::getenv("RADVEX_FAULTS");
    return wish != nullptr && std::string(wish) == "all";
}

/// How many calls of each family are tried in each script, evenly spread; 0 for all.
std::string mostCalls() { return areAllTried() ? "0" : "100"; }

ProcessResult runPart(int part) {
    return runProcess({"env", "LD_PRELOAD=" RADVEX_FAULT_SHIM, RADVEX_FAULT_RUNNER, std::to_string(part),
                       std::to_string(kScriptParts), mostCalls()});
}

} // namespace

namespace {

struct Tally {
    long points = 0;
    std::map<std::string, long> deaths{}; ///< by crash
};

/// Takes what a part printed; what is neither a count nor known is a failure.
void addPart(const std::string& output, const std::set<std::string>& known, Tally& tally) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("TOTAL ", 0) == 0) {
            tally.points += std::stol(line.substr(6));
            std::printf("%s\n", line.c_str());
        } else if (line.rfind("POINTS ", 0) == 0) {
            std::printf("%s\n", line.c_str());
        } else if (isKnown(line, known)) {
            ++tally.deaths[crashOf(line)];
        } else {
            ADD_FAILURE() << line;
        }
    }
}

} // namespace

TEST(FaultInjection, EveryRefusalEndsInARegisteredErrorAndTheNextCallWorks) {
    std::vector<std::future<ProcessResult>> parts;
    for (int part = 0; part < kScriptParts; ++part) {
        parts.push_back(std::async(std::launch::async, runPart, part));
    }
    const auto known = knownCrashes();
    Tally tally;
    for (auto& part : parts) {
        const ProcessResult result = part.get();
        EXPECT_EQ(result.status, 0) << result.errors;
        addPart(result.output, known, tally);
    }
    for (const auto& [crash, count] : tally.deaths) {
        std::printf("%5ld %s\n", count, crash.c_str());
    }
    std::printf("%ld points\n", tally.points);
    EXPECT_GE(tally.points, 5000);
    if (areAllTried()) {
        EXPECT_EQ(tally.deaths.size(), known.size()) << "a crash that is listed did not come up";
    }
}
