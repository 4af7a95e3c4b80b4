#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Process.h"

using radvex::test::ProcessResult;
using radvex::test::runProcess;

namespace {

constexpr int kParts = 2;

/// Places in DCMTK where a fault kills or never ends.
std::set<std::string> knownPlaces() {
    std::set<std::string> places;
    std::ifstream table(RADVEX_SOURCE_DIR "/tests/faults/knownPlaces.txt");
    for (std::string line; std::getline(table, line);) {
        if (!line.empty() && line.front() != '#') {
            places.insert(line);
        }
    }
    return places;
}

/// What was refused and how it ended: "DEATH memory" and the innermost function, "HANG read" and nothing more, since
/// where a process is stopped is chance.
std::string placeOf(const std::string& line) {
    const std::string outcome = line.substr(0, line.find(' '));
    const std::size_t point = line.find(": ") + 2;
    const std::string family = line.substr(point, line.find(' ', point) - point);
    const std::size_t chain = line.find(": ", line.find(": signal ") + 2) + 2;
    const std::string function = outcome == "HANG" ? "" : " " + line.substr(chain, line.find(" < ", chain) - chain);
    return outcome + " " + family + function;
}

bool isKnown(const std::string& line, const std::set<std::string>& places) {
    const bool isCrash = line.rfind("DEATH ", 0) == 0 || line.rfind("HANG ", 0) == 0;
    return isCrash && places.contains(placeOf(line));
}

/// All calls are tried when RADVEX_FAULTS is "all", which takes many minutes.
std::string mostCalls() {
    const char* wish = std::getenv("RADVEX_FAULTS");
    return wish != nullptr && std::string(wish) == "all" ? "0" : "100";
}

ProcessResult runPart(int part) {
    return runProcess({"env", "LD_PRELOAD=" RADVEX_FAULT_SHIM, RADVEX_FAULT_RUNNER, std::to_string(part),
                       std::to_string(kParts), mostCalls()});
}

} // namespace

TEST(FaultInjection, EveryRefusalEndsInARegisteredErrorAndTheNextCallWorks) {
    std::vector<std::future<ProcessResult>> parts;
    for (int part = 0; part < kParts; ++part) {
        parts.push_back(std::async(std::launch::async, runPart, part));
    }
    const auto known = knownPlaces();
    long points = 0;
    long deaths = 0;
    for (auto& part : parts) {
        const ProcessResult result = part.get();
        EXPECT_EQ(result.status, 0) << result.errors;
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("TOTAL ", 0) == 0) {
                points += std::stol(line.substr(6));
                std::printf("%s\n", line.c_str());
            } else if (line.rfind("POINTS ", 0) == 0) {
                std::printf("%s\n", line.c_str());
            } else if (isKnown(line, known)) {
                ++deaths;
            } else {
                ADD_FAILURE() << line;
            }
        }
    }
    std::printf("%ld points, %ld known deaths and hangs inside DCMTK\n", points, deaths);
    EXPECT_GE(points, 5000);
}
