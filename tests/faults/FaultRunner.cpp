// Runs scripts of exported calls with the shim preloaded, each fault in a process of its own. Usage:
// faultRunner PART PARTS CALLS, where of each family so many calls are tried, evenly spread, and 0 is all. Prints a
// line for each finding and death, and the points that were visited.
#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

#include "tests/faults/CrashStack.h"
#include "tests/faults/FaultShim.h"
#include "tests/faults/Scripts.h"

namespace {

using namespace radvex::faults;
using velmora::ledger;
using velmora::Ledger;
using velmora::Operation;

constexpr long kMostCalls = 1L << 20; // of one family in one run
constexpr unsigned kMostSeconds = 2;  // of processor time, for a run and the one after it

/// What a child tells its parent, in memory that both see.
struct Report {
    char problem[400];
    radvex::test::CrashStack crash;
    radvex::test::CrashStack refused;
    long calls;
    long operations[static_cast<std::size_t>(Operation::count)];
    char linkNames[64][48];
    long linkCalls[64];
    int linkCount;
    unsigned char notes[kMostCalls];
};

Report& report() {
    static auto* const memory = static_cast<Report*>(
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    return *memory;
}

void complain(const std::string& sentence) {
    (void)std::snprintf(report().problem, sizeof(report().problem), "%s", sentence.c_str());
}

Modules modules() {
    Modules found;
    const auto add = [](dl_phdr_info* info, std::size_t, void* result) {
        auto& list = *static_cast<Modules*>(result);
        const std::string name = info->dlpi_name;
        // Calls on links count for the module that makes them.
        const bool isLibrary = name.find("Radvex.so") != std::string::npos || name.find("libdcm") != std::string::npos;
        for (int index = 0; index < info->dlpi_phnum; ++index) {
            const auto& header = info->dlpi_phdr[index];
            const Range range{info->dlpi_addr + header.p_vaddr, info->dlpi_addr + header.p_vaddr + header.p_memsz};
            if (header.p_type != PT_LOAD || (header.p_flags & PF_X) == 0) {
                continue;
            }
            if (name.empty() && list.host.end == 0) {
                list.host = range;
            } else if (isLibrary && list.libraryCount < kMostRanges) {
                list.library[list.libraryCount++] = range;
            }
        }
        return 0;
    };
    dl_iterate_phdr(add, &found);
    return found;
}

std::string nameOf(Effect effect, int error) {
    switch (effect) {
    case Effect::half: return " half";
    case Effect::end: return " end";
    default: return " error " + std::to_string(error);
    }
}

/// One point: a call that is refused by the shim or by the host.
struct Point {
    FaultPlan plan{};
    Operation operation = Operation::count;
    std::string link{};
    std::string name{};
};

class Runner {
  public:
    explicit Runner(std::size_t mostCalls)
        : mMostCalls(mostCalls), mLibrary(dlopen(RADVEX_LIBRARY, RTLD_NOW | RTLD_LOCAL)), mScripts(scriptsFor(mFiles)) {
        mArm = reinterpret_cast<Arm>(dlsym(RTLD_DEFAULT, kArmSymbol));
        mDisarm = reinterpret_cast<Disarm>(dlsym(RTLD_DEFAULT, kDisarmSymbol));
        if (mLibrary == nullptr || mArm == nullptr || mDisarm == nullptr) {
            throw std::runtime_error("The shim has to be preloaded, and the library be there.");
        }
        mModules = modules();
    }

    void run(std::size_t part, std::size_t parts) {
        // What is loaded only once would be counted with the first script that needs it.
        for (std::size_t index = part; index < mScripts.size(); index += parts) {
            if (mScripts[index].loads) {
                mHost.reset();
            } else if (mHost == nullptr) {
                mHost = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
            }
            visit(mScripts[index]);
        }
        std::printf("TOTAL %ld points, %ld errors returned, %ld results in spite of the fault\n", mPoints, mErrors,
                    mResults);
    }

  private:
    Outcome runScript(const Script& script) {
        if (!script.loads) {
            return script.run(*mHost);
        }
        try {
            const auto host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
            learn(*host);
            return script.run(*host);
        } catch (const velmora::LibraryError& error) {
            return {{error.code()}, {0}};
        }
    }

    void learn(const velmora::Host& host) {
        for (const auto& error : host.errors()) {
            mRegistered.insert(error.id);
            mImageOpenError = error.name == "ImageOpenError" ? error.id : mImageOpenError;
        }
    }

    void visit(const Script& script) {
        if (mHost != nullptr) {
            learn(*mHost);
        }
        ledger().refuseNothing();
        if (!script.loads) {
            mUsual = runScript(script);
            mUsual = runScript(script); // tables that fill once are full
        }
        std::map<std::string, long> counts;
        for (const Point& point : pointsOf(script)) {
            visitPoint(script, point);
            ++counts[point.name.substr(0, point.name.find(' '))];
            ++mPoints;
        }
        std::printf("POINTS %s:", script.name.c_str());
        for (const auto& [family, count] : counts) {
            std::printf(" %s %ld", family.c_str(), count);
        }
        std::printf("\n");
        (void)std::fflush(stdout);
    }

    std::vector<Point> pointsOf(const Script& script) {
        std::vector<Point> points;
        addShimPoints(script, Family::memory, "memory", {{Effect::fail, ENOMEM}}, points);
        addShimPoints(script, Family::open, "open", {{Effect::fail, EIO}, {Effect::fail, ENOSPC}}, points);
        addShimPoints(script, Family::read, "read", {{Effect::fail, EIO}, {Effect::half, 0}, {Effect::end, 0}}, points);
        addShimPoints(script, Family::write, "write",
                      {{Effect::fail, EIO}, {Effect::fail, ENOSPC}, {Effect::half, ENOSPC}}, points);
        addShimPoints(script, Family::close, "close", {{Effect::fail, EIO}, {Effect::fail, ENOSPC}}, points);
        addHostPoints(script, points);
        return points;
    }

    void addShimPoints(const Script& script, Family family, const std::string& name,
                       const std::vector<std::pair<Effect, int>>& ways, std::vector<Point>& points) {
        inChild([&] {
            FaultPlan plan{.family = family, .notes = report().notes, .noteCount = kMostCalls};
            mArm(plan, mModules);
            (void)runScript(script);
            report().calls = mDisarm(family);
        });
        std::vector<long> numbers;
        for (long number = 1; number <= std::min(report().calls, kMostCalls); ++number) {
            if (report().notes[number - 1] != 0) {
                numbers.push_back(number);
            }
        }
        const std::size_t step = mMostCalls == 0 ? 1 : numbers.size() / mMostCalls + 1;
        for (std::size_t index = 0; index < numbers.size(); index += step) {
            for (const auto& [effect, error] : ways) {
                for (const bool fromThenOn : {false, true}) {
                    const FaultPlan plan{.family = family,
                                         .number = numbers[index],
                                         .fromThenOn = fromThenOn,
                                         .effect = effect,
                                         .error = error};
                    points.push_back({.plan = plan,
                                      .name = name + ' ' + std::to_string(index + 1) + nameOf(effect, error) +
                                              (fromThenOn ? " from then on" : " once")});
                }
            }
        }
    }

    void addHostPoints(const Script& script, std::vector<Point>& points) {
        inChild([&] {
            ledger().refuseNothing();
            (void)runScript(script);
            for (std::size_t index = 0; index < std::size(report().operations); ++index) {
                report().operations[index] = ledger().calls(static_cast<Operation>(index));
            }
            for (const auto& [name, calls] : ledger().linkCalls()) {
                auto& link = report().linkNames[report().linkCount];
                (void)std::snprintf(link, sizeof(link), "%s", name.c_str());
                report().linkCalls[report().linkCount++] = calls;
            }
        });
        for (const long first : {1L, -1L}) { // -1: from then on
            const auto plan = FaultPlan{.fromThenOn = first < 0};
            const std::string how = plan.fromThenOn ? " from then on" : " once";
            for (std::size_t index = 0; index < std::size(report().operations); ++index) {
                for (long n = 1; n <= report().operations[index]; ++n) {
                    points.push_back({plan, static_cast<Operation>(index), "",
                                      "operation " + std::to_string(index) + ' ' + std::to_string(n) + how});
                    points.back().plan.number = n;
                }
            }
            for (int index = 0; index < report().linkCount; ++index) {
                for (long n = 1; n <= report().linkCalls[index]; ++n) {
                    const std::string name = report().linkNames[index];
                    points.push_back({plan, Operation::count, name, "link " + name + ' ' + std::to_string(n) + how});
                    points.back().plan.number = n;
                }
            }
        }
    }

    void refuse(const Point& point) {
        const auto refusal = point.plan.fromThenOn ? Ledger::Refusal::fromThenOn : Ledger::Refusal::once;
        if (point.operation != Operation::count) {
            ledger().refuse(point.operation, point.plan.number, refusal);
        } else if (!point.link.empty()) {
            ledger().refuseLink(point.link, point.plan.number, refusal);
        } else {
            FaultPlan plan = point.plan;
            auto& stack = report().refused;
            plan.frames = stack.frames.data();
            plan.frameCount = &stack.count;
            plan.mostFrames = static_cast<int>(stack.frames.size());
            mArm(plan, mModules);
        }
    }

    void visitPoint(const Script& script, const Point& point) {
        const int state = inChild([&] { runPoint(script, point); });
        const Report& found = report();
        if (WIFSIGNALED(state)) {
            std::printf("%s %s: %s: signal %d: %s\n", WTERMSIG(state) == SIGXCPU ? "HANG" : "DEATH",
                        script.name.c_str(), point.name.c_str(), WTERMSIG(state),
                        radvex::test::describe(found.crash).c_str());
        } else if (found.problem[0] != 0 || WEXITSTATUS(state) != 0) {
            std::printf("FINDING %s: %s: %s (status %d), refused in %s\n", script.name.c_str(), point.name.c_str(),
                        found.problem, WEXITSTATUS(state), radvex::test::describe(found.refused).c_str());
        }
        mErrors += found.calls == 1 ? 1 : 0;
        mResults += found.calls == 2 ? 1 : 0;
    }

    void runPoint(const Script& script, const Point& point) {
        const long alive = ledger().alive();
        refuse(point);
        const Outcome outcome = runScript(script);
        mDisarm(Family::memory);
        ledger().refuseNothing();
        const bool isGood = std::all_of(outcome.codes.begin(), outcome.codes.end(), [](int code) { return code == 0; });
        report().calls = isGood ? 2 : 1;
        // When the host refuses a picture, the library makes one without rendering.
        const bool isShims = point.plan.family != Family::count;
        for (const int code : outcome.codes) {
            if (code != 0 && code != VELMORA_FUNCTION_ERROR && !mRegistered.contains(code) && !script.loads) {
                complain("the code " + std::to_string(code) + " is not registered");
            }
            if (script.tellsMemoryApart && point.plan.family == Family::memory && code == mImageOpenError) {
                complain("a refusal of memory is told as pixels that cannot be opened");
            }
        }
        const bool isComparable = !script.loads && !script.leavesOut && (isGood || !script.writes);
        for (std::size_t call = 0; isShims && isComparable && call < outcome.codes.size(); ++call) {
            if (outcome.codes[call] == 0 && outcome.digests[call] != mUsual.digests[call]) {
                complain("success, with another result than without the fault");
            }
        }
        checkAccounts(alive);
        if (const Outcome next = runScript(script); !script.loads && !(next == mUsual)) {
            complain("the next call fails or gives another result");
        } else if (script.loads && next.codes != std::vector<int>{0, 0}) {
            complain("the library does not load afterwards");
        }
        checkAccounts(alive);
    }

    void checkAccounts(long alive) {
        if (!ledger().violations().empty()) {
            complain(ledger().violations().front());
        } else if (ledger().alive() != alive) {
            complain(std::to_string(ledger().alive() - alive) + " objects are still alive");
        } else if (mHost != nullptr && TTOpenLinkCount(mHost->services().environment()) != 2) {
            complain("a link is still open");
        } else if (mHost != nullptr && TTOpenBufferCount(mHost->services().environment()) != 0) {
            complain("a buffer of a link is still open");
        }
    }

    template <typename Body>
    int inChild(Body body) {
        std::memset(&report(), 0, offsetof(Report, notes));
        (void)std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            radvex::test::catchCrashes(report().crash);
            const rlimit limit{kMostSeconds, kMostSeconds + 1};
            setrlimit(RLIMIT_CPU, &limit);
            int status = 0;
            try {
                body();
            } catch (const std::exception& error) {
                mDisarm(Family::memory);
                complain(std::string("an exception passed the host: ") + error.what());
                status = 1;
            }
            _exit(status);
        }
        int state = 0;
        waitpid(child, &state, 0);
        return state;
    }

    std::size_t mMostCalls;
    void* mLibrary;
    ScriptFiles mFiles{};
    std::vector<Script> mScripts;
    Arm mArm = nullptr;
    Disarm mDisarm = nullptr;
    Modules mModules{};
    std::unique_ptr<velmora::Host> mHost{};
    std::set<int> mRegistered{};
    int mImageOpenError = 0;
    Outcome mUsual{};
    long mPoints = 0;
    long mErrors = 0;
    long mResults = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    try {
        const auto number = [argv](int index) { return std::strtoul(argv[index], nullptr, 10); };
        Runner(number(3)).run(number(1), number(2));
        return 0;
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "faultRunner: %s\n", error.what());
        return 1;
    }
}
