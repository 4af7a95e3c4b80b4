#include "workers/Workers.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <new>
#include <set>
#include <stdexcept>
#include <vector>

#include "host/Host.h"

using namespace radvex::workers;

namespace {

std::vector<WorkResult> runAll(std::size_t processes, std::size_t items, const Workers::Work& work) {
    std::vector<WorkResult> results;
    Workers(processes, work).run(0, items, [&](std::size_t item, const WorkResult& result) {
        EXPECT_EQ(item, results.size());
        results.push_back(result);
    });
    return results;
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

bool hasChildren() { return ::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

/// A counter that processes forked later share.
class SharedCount {
  public:
    SharedCount()
        : mCount(new (::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                             0)) std::atomic<int>(0)) {}
    ~SharedCount() { ::munmap(mCount, sizeof *mCount); }
    SharedCount(const SharedCount&) = delete;
    SharedCount& operator=(const SharedCount&) = delete;
    std::atomic<int>& operator*() const { return *mCount; }

  private:
    std::atomic<int>* mCount;
};

} // namespace

TEST(Workers, ResultsComeInTheOrderOfTheItemsAndFromOtherProcesses) {
    const auto results = runAll(3, 20, [](std::size_t item) {
        ::usleep(item % 3 == 0 ? 20000 : 0); // every third comes after those behind it
        return std::string(std::to_string(item) + (::getpid() == ::getppid() ? "?" : ""));
    });
    ASSERT_EQ(results.size(), 20U);
    for (std::size_t item = 0; item < results.size(); ++item) {
        EXPECT_EQ(results[item].output, std::to_string(item));
    }
}

TEST(Workers, WorkIsDoneByAsManyProcessesAsWereAskedFor) {
    const pid_t own = ::getpid();
    const auto results = runAll(3, 3, [](std::size_t) {
        ::usleep(100000);
        return std::string(std::to_string(::getpid()));
    });
    std::set<std::string> processes{std::to_string(own)};
    for (const WorkResult& result : results) {
        processes.insert(result.output);
    }
    EXPECT_EQ(processes.size(), 4U);
}

TEST(Workers, TheEndOfAProcessCostsItsItemAlone) {
    for (const std::size_t processes : {1U, 2U, 4U}) {
        const auto results = runAll(processes, 9, [](std::size_t item) {
            if (item == 0) {
                (void)std::raise(SIGKILL);
            } else if (item == 4) {
                (void)std::signal(SIGSEGV, SIG_DFL);
                (void)std::raise(SIGSEGV);
            } else if (item == 5) {
                ::_exit(3);
            }
            return std::string("done");
        });
        ASSERT_EQ(results.size(), 9U);
        for (std::size_t item = 0; item < results.size(); ++item) {
            EXPECT_EQ(results[item].end, item == 0   ? "ended with signal 9 (SIGKILL)"
                                         : item == 4 ? "ended with signal 11 (SIGSEGV)"
                                         : item == 5 ? "ended with exit status 3"
                                                     : "");
            EXPECT_EQ(results[item].output, results[item].end.empty() ? "done" : "");
        }
    }
}

TEST(Workers, ARunInWhichEveryItemEndsItsProcessComesToItsEnd) {
    const auto results = runAll(2, 30, [](std::size_t) -> std::string { ::_exit(0); });
    ASSERT_EQ(results.size(), 30U);
    for (const WorkResult& result : results) {
        EXPECT_EQ(result.end, "ended with exit status 0") << "also of a process that says it went well";
    }
}

TEST(Workers, AProcessThatEndsBetweenTwoItemsCostsNone) {
    std::vector<std::string> processes;
    Workers workers(1, [](std::size_t) { return std::string(std::to_string(::getpid())); });
    workers.run(0, 3, [&](std::size_t item, const WorkResult& result) {
        EXPECT_EQ(result.end, "");
        processes.push_back(result.output);
        if (item == 0) {
            const auto process = static_cast<pid_t>(std::stol(result.output));
            siginfo_t info;
            ASSERT_EQ(::kill(process, SIGKILL), 0);
            ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT), 0);
        }
    });
    ASSERT_EQ(processes.size(), 3U);
    EXPECT_NE(processes[0], processes[1]);
    EXPECT_EQ(processes[1], processes[2]) << "a process goes on to the next item";
}

TEST(Workers, ResultsOfAnySizeComeWhole) {
    const std::size_t size = 3000001; // more than a channel holds, and no multiple of anything
    const auto results = runAll(2, 3, [&](std::size_t item) {
        std::string text(item * size, static_cast<char>('a' + item));
        text += '\0';
        return std::string(text);
    });
    for (std::size_t item = 0; item < 3; ++item) {
        EXPECT_EQ(results[item].output, std::string(item * size, static_cast<char>('a' + item)) + '\0');
    }
}

TEST(Workers, WhatWaitsForASlowItemIsBounded) {
    const SharedCount begun;
    const auto results = runAll(3, 120, [&](std::size_t item) {
        const int count = ++*begun;
        if (item == 0) {
            ::usleep(300000);
            return std::string(std::to_string((*begun).load()));
        }
        return std::string(std::string(std::size_t{1} << 20, static_cast<char>(count)));
    });
    EXPECT_LE(std::stoi(results.front().output), 64 + 3) << "64 MiB are held, and each process has one item";
    EXPECT_EQ(*begun, 120);
}

TEST(Workers, AnExceptionIsTheErrorOfItsItem) {
    const auto results = runAll(2, 3, [](std::size_t item) -> std::string {
        if (item == 1) {
            throw std::runtime_error("no such luck");
        }
        return "";
    });
    EXPECT_EQ(results[0].error, "");
    EXPECT_EQ(results[1].error, "no such luck");
    EXPECT_EQ(results[1].end, "");
    EXPECT_EQ(results[2].error, "");
}

TEST(Workers, ALibraryThatCannotBeUsedEndsTheRun) {
    std::size_t received = 0;
    try {
        Workers workers(2, [](std::size_t item) -> std::string {
            if (item >= 2) {
                throw velmora::HostError("There is no library.");
            }
            return "";
        });
        workers.run(0, 5, [&](std::size_t, const WorkResult&) { ++received; });
        FAIL() << "nothing was thrown";
    } catch (const velmora::HostError& error) {
        EXPECT_STREQ(error.what(), "There is no library.");
    }
    EXPECT_EQ(received, 2U) << "what came before is not lost";
}

TEST(Workers, LeaveNoProcessAndNoDescriptorBehind) {
    const std::size_t before = openDescriptors();
    (void)runAll(4, 20, [](std::size_t item) {
        if (item % 5 == 0) {
            (void)std::raise(SIGKILL);
        }
        return std::string("");
    });
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
    Workers workers(3, [](std::size_t item) {
        ::usleep(item == 0 ? 0 : 60000000); // must not be waited for
        return std::string("");
    });
    EXPECT_THROW(workers.run(0, 5, [](std::size_t, const WorkResult&) { throw std::runtime_error("enough"); }),
                 std::runtime_error);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
}

TEST(Workers, AWorkerHoldsNoChannelOfAnother) {
    const auto results = runAll(3, 3, [](std::size_t) {
        ::usleep(100000); // until all three are there
        return std::string(std::to_string(openDescriptors()));
    });
    const std::size_t own = openDescriptors();
    for (const WorkResult& result : results) {
        EXPECT_EQ(result.output, std::to_string(own + 1)) << "its own channel, and nothing else";
    }
}

TEST(Workers, EndsAreToldThoughTheCallerIgnoresThem) {
    void (*former)(int) = std::signal(SIGCHLD, SIG_IGN);
    const auto results = runAll(2, 2, [](std::size_t) -> std::string { ::_exit(7); });
    EXPECT_EQ(std::signal(SIGCHLD, former), SIG_IGN) << "and it goes on ignoring them";
    EXPECT_EQ(results[0].end, "ended with exit status 7");
}

TEST(Workers, NothingToDoStartsNothing) {
    EXPECT_TRUE(runAll(4, 0, [](std::size_t) { return std::string(""); }).empty());
}

TEST(Workers, ProcessesStayForTheNextRun) {
    Workers workers(
        1, [](std::size_t item) { return std::string(std::to_string(item) + " by " + std::to_string(::getpid())); });
    std::vector<std::string> results;
    const auto receive = [&](std::size_t, const WorkResult& result) { results.push_back(result.output); };
    workers.run(3, 5, receive);
    workers.run(7, 8, receive);
    ASSERT_EQ(results.size(), 3U);
    const std::string process = results[0].substr(1);
    EXPECT_EQ(results, (std::vector<std::string>{"3" + process, "4" + process, "7" + process}));
}

TEST(Workers, ARunThatWasBrokenOffLeavesNothingToTheNext) {
    Workers workers(2, [](std::size_t item) { return std::string(std::to_string(item)); });
    EXPECT_THROW(workers.run(0, 9, [](std::size_t, const WorkResult&) { throw std::runtime_error("enough"); }),
                 std::runtime_error);
    std::vector<std::string> results;
    workers.run(20, 22, [&](std::size_t, const WorkResult& result) { results.push_back(result.output); });
    EXPECT_EQ(results, (std::vector<std::string>{"20", "21"}));
}

TEST(Workers, WithoutProcessesAllIsDoneHere) {
    const auto results = runAll(0, 2, [](std::size_t item) -> std::string {
        if (item == 1) {
            throw std::runtime_error("no such luck");
        }
        return std::to_string(::getpid());
    });
    EXPECT_EQ(results[0].output, std::to_string(::getpid()));
    EXPECT_EQ(results[1].error, "no such luck");
}

TEST(Workers, AResultArrivesBeforeItsProcessGoesOn) {
    const SharedCount last; // what each process puts where the other finds it
    std::vector<std::size_t> received;
    for (const std::size_t processes : {0U, 1U}) {
        Workers workers(processes, [&](std::size_t item) {
            *last = static_cast<int>(item);
            return std::string("");
        });
        workers.run(
            0, 20, [&](std::size_t item, const WorkResult&) { received.push_back(item); },
            [&](std::size_t item, const WorkResult&) {
                ::usleep(1000);
                EXPECT_EQ(*last, static_cast<int>(item));
            });
    }
    EXPECT_EQ(received.size(), 40U);
}
