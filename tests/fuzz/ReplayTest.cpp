#include <gtest/gtest.h>

#include <random>

#include "fuzz/DicomMutation.h"
#include "fuzz/Regressions.h"
#include "fuzz/Seeds.h"
#include "fuzz/Targets.h"

using namespace radvex::fuzz;

namespace {

Bytes bytesOf(const std::string& text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

class Replay : public ::testing::TestWithParam<std::string> {
  protected:
    static void run(const std::vector<SeedFile>& inputs) {
        for (const SeedFile& input : inputs) {
            SCOPED_TRACE(input.name);
            EXPECT_NO_THROW(targetNamed(GetParam()).run(bytesOf(input.bytes)));
        }
    }
};

std::vector<std::string> targetNames() {
    std::vector<std::string> names;
    for (const Target& target : targets()) {
        names.push_back(target.name);
    }
    return names;
}

} // namespace

TEST_P(Replay, InputsThatOnceFailedDoNotFailAgain) { run(regressionsOf(GetParam())); }

TEST_P(Replay, GoodInputsDoNotFail) {
    const auto seeds = seedsOf(GetParam());
    ASSERT_FALSE(seeds.empty());
    run(seeds);
}

TEST_P(Replay, InputsWithBrokenElementsDoNotFail) {
    std::minstd_rand random(1);
    for (const SeedFile& seed : seedsOf(GetParam())) {
        SCOPED_TRACE(seed.name);
        for (int round = 0; round < 4; ++round) {
            std::vector<unsigned char> input(seed.bytes.begin(), seed.bytes.end());
            if (mutateElement(input, random)) {
                EXPECT_NO_THROW(targetNamed(GetParam()).run(input)) << "round " << round;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, Replay, ::testing::ValuesIn(targetNames()),
                         [](const auto& target) { return target.param; });
