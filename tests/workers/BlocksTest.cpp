#include "workers/Workers.h"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <vector>

#include "host/Host.h"

using radvex::workers::forEachInBlocks;
using radvex::workers::WorkResult;

namespace {

std::vector<WorkResult> blockResults(std::size_t processes, std::size_t count,
                                     const radvex::workers::Workers::Work& work) {
    std::vector<WorkResult> results;
    forEachInBlocks(processes, count, work, [&](std::size_t item, const WorkResult& result) {
        EXPECT_EQ(item, results.size()) << "in order, each once";
        results.push_back(result);
    });
    return results;
}

} // namespace

TEST(Blocks, GiveEveryItemInOrderWhateverTheNumbers) {
    for (const std::size_t processes : {0U, 1U, 2U, 5U}) {
        for (const std::size_t count : {0U, 1U, 7U, 64U, 65U, 500U}) {
            const auto results = blockResults(processes, count, [](std::size_t item) -> std::string {
                if (item % 10 == 3) {
                    throw std::runtime_error("refused " + std::to_string(item));
                }
                return std::string(item, 'x');
            });
            ASSERT_EQ(results.size(), count);
            for (std::size_t item = 0; item < count; ++item) {
                EXPECT_EQ(results[item].output, item % 10 == 3 ? "" : std::string(item, 'x'));
                EXPECT_EQ(results[item].error, item % 10 == 3 ? "refused " + std::to_string(item) : "");
            }
        }
    }
}

TEST(Blocks, TheEndOfAProcessCostsItsItemAlone) {
    const auto results = blockResults(2, 200, [](std::size_t item) -> std::string {
        if (item == 77 || item == 78 || item == 199) {
            (void)std::signal(SIGSEGV, SIG_DFL);
            (void)std::raise(SIGSEGV);
        }
        return "done";
    });
    ASSERT_EQ(results.size(), 200U);
    for (std::size_t item = 0; item < results.size(); ++item) {
        const bool isEnd = item == 77 || item == 78 || item == 199;
        EXPECT_EQ(results[item].end, isEnd ? "ended with signal 11 (SIGSEGV)" : "") << item;
        EXPECT_EQ(results[item].output, isEnd ? "" : "done") << item;
    }
}

TEST(Blocks, WhatNoItemWouldBeSparedEndsTheRun) {
    const auto fail = [](std::size_t) -> std::string { throw velmora::HostError("No library."); };
    EXPECT_THROW(blockResults(2, 100, fail), velmora::HostError);
}
