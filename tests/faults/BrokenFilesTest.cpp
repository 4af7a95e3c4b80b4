#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <tuple>

#include "tests/faults/BrokenFiles.h"
#include "tests/faults/CrashStack.h"
#include "tests/support/HostTest.h"
#include "tests/support/Results.h"
#include "tests/support/SmallStack.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex;
using namespace radvex::test;
using velmora::Store;
using velmora::Tensor;
using velmora::Value;

namespace {

constexpr double kMostSeconds = 10;
constexpr long kMostKilobytes = 1L << 20; // above what was there before and the results

struct Reading {
    const char* function;
    std::vector<Value> arguments;
};

std::vector<Reading> readingsOf(const std::string& path, bool isDirectory) {
    const Tensor none(std::vector<vint>{2}, std::vector<double>{0, 0});
    const Tensor window(std::vector<vint>{2}, std::vector<double>{400, 40});
    const auto names =
        Store::ofTexts({"PatientName", "PixelData", "OverlayData", "ReferencedImageSequence", "LUTData"});
    std::vector<Reading> readings{
        {"GetFrameCount", {path}},
        {"GetRepresentativeFrameIndex", {path}},
        {"GetOverlayCount", {path}},
        {"ReadAllMetadata", {path, Store::empty(), false}},
        {"ReadAllMetadata", {path, Store::ofTexts({"PatientID"}), true}},
        {"ReadMetadata", {path, names, true}},
        {"ReadMetadataIntTags",
         {path, Store::of({Store::ofTexts({"7fe0", "0010"}), Store::ofTexts({"0010", "0010"})})}},
        {"ReadPatientInfo", {path, Store::ofTexts({"Name", "ID"}), ".*"}},
        {"ReadStudyInfo", {path, Store::ofTexts({"UID", "Modalities"}), ".*", ".*"}},
        {"ReadSeriesInfo", {path, Store::ofTexts({"UID", "Number"}), ".*", ".*", ".*"}},
    };
    const std::vector<Reading> ofFiles{
        {"ReadImage", {path, 0, 0, none, true, 1}},
        {"ReadImage", {path, 0, 1, window, false, 0}},
        {"ReadImageData", {path, 0, 0, none, true, 1}},
        {"ReadIntermediatePixelData", {path, 1, 0}},
        {"ReadOverlay", {path}},
        {"ReadOverlays", {path}},
    };
    const std::vector<Reading> ofDirectories{
        {"ReadDICOMDIRStructure", {path, ".*", ".*", ".*", true}},
        {"ReadMetadataRecursive", {path, Store::ofTexts({"PatientID", "PixelData"}), ".*", true}},
        {"ReadMetadataIntTagsRecursive", {path, Store::of({Store::ofTexts({"0010", "0010"})})}},
        {"ReadAllMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}},
        {"Read2DImagesDir", {path, none, true, 1, ".*", ".*", ".*"}},
        {"Read3DImage", {path, ".*", ".*", ".*", none, 1}},
    };
    const auto& more = isDirectory ? ofDirectories : ofFiles;
    readings.insert(readings.end(), more.begin(), more.end());
    return readings;
}

/// What a child reports.
struct Report {
    char function[64];
    char problem[300];
    CrashStack crash;
    long results; ///< bytes of the largest
    long errors;
    long calls;
};

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

class Broken : public LibraryTest, public ::testing::WithParamInterface<std::tuple<std::size_t, std::size_t>> {
  protected:
    Broken()
        : mReport(static_cast<Report*>(
              mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        for (const char* name : {"A", "B", "C"}) {
            mFolder.write(name, fuzz::seedImage());
        }
    }
    ~Broken() override { munmap(mReport, sizeof(Report)); }

    /// Reads a file with every function in a process of its own.
    void readEverything(const fuzz::SeedFile& file) {
        const bool isDirectory = file.name.rfind("DICOMDIR", 0) == 0;
        const std::string path = mFolder.write(isDirectory ? "DICOMDIR" : "broken.dcm", file.bytes);
        *mReport = {};
        (void)std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            readAndLeave(path, isDirectory);
        }
        int state = 0;
        rusage usage{};
        wait4(child, &state, 0, &usage);
        EXPECT_FALSE(WIFSIGNALED(state)) << file.name << ": signal " << WTERMSIG(state) << " in " << mReport->function
                                         << ": " << describe(mReport->crash);
        EXPECT_EQ(WEXITSTATUS(state), 0) << file.name << ": " << mReport->function << ": " << mReport->problem;
        EXPECT_LT(usage.ru_maxrss, mKilobytes + kMostKilobytes + mReport->results / 1024) << file.name;
        mCalls += mReport->calls;
        mErrors += mReport->errors;
    }

    /// Notes the memory that is in use before anything is read.
    void prepare() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        mKilobytes = usage.ru_maxrss;
    }

    long calls() const { return mCalls; }
    long errors() const { return mErrors; }

  private:
    [[noreturn]] void readAndLeave(const std::string& path, bool isDirectory) {
#if !defined(__SANITIZE_ADDRESS__) // which tells more about a signal itself
        catchCrashes(mReport->crash);
#endif
        alarm(120);
        int status = 0;
        try {
            for (const Reading& reading : readingsOf(path, isDirectory)) {
                readThrice(reading);
            }
            if (!velmora::ledger().violations().empty()) {
                throw std::runtime_error(velmora::ledger().violations().front());
            }
            if (velmora::ledger().alive() != 0) {
                throw std::runtime_error("objects are still alive");
            }
            status = mReport->problem[0] != 0 ? 1 : 0;
        } catch (const std::exception& error) {
            complain(error.what());
            status = 1;
        }
        _exit(status);
    }

    /// Reads twice here and once on a thread with a small stack; all results have to be equal.
    void readThrice(const Reading& reading) {
        (void)std::snprintf(mReport->function, sizeof(mReport->function), "%s", reading.function);
        const std::uint64_t first = readOnce(reading);
        std::uint64_t third = 0;
        if (readOnce(reading) != first) {
            throw std::runtime_error("another result when read again");
        }
        onSmallStack([&] { third = readOnce(reading); });
        if (third != first) {
            throw std::runtime_error("another result on a small stack");
        }
    }

    /// A digest of the result, or of the error.
    std::uint64_t readOnce(const Reading& reading) {
        const double start = processorSeconds();
        std::uint64_t digest = 0;
        try {
            const std::vector<Value> arguments = reading.arguments; // the library takes stores out of stores
            const Value result = host().call(reading.function, arguments);
            digest = digestOf(result);
            mReport->results = std::max(mReport->results, static_cast<long>(sizeOf(result)));
        } catch (const velmora::LibraryError& error) {
            ++mReport->errors;
            digest = digestOf(Value(std::to_string(error.code()) + error.what()));
            if (error.code() != VELMORA_FUNCTION_ERROR && error.name().empty()) {
                complain(error.what());
            }
        }
        (void)host().call("ClearCache");
        ++mReport->calls;
        if (const double seconds = processorSeconds() - start; seconds > kMostSeconds) {
            complain("takes " + std::to_string(seconds) + " s");
        }
        return digest;
    }

    void complain(const std::string& sentence) {
        (void)std::snprintf(mReport->problem, sizeof(mReport->problem), "%s", sentence.c_str());
    }

    TemporaryFolder mFolder{};
    Report* mReport;
    long mKilobytes = 0;
    long mCalls = 0;
    long mErrors = 0;
};

const std::vector<BrokenFiles>& corpus() {
    static const std::vector<BrokenFiles> files = brokenFiles();
    return files;
}

/// The files of each kind are split, so that two tests can run at the same time and none takes long.
constexpr std::size_t kParts = 2;

/// Every so many files are read, fewer under the sanitizers, which take ten times as long; all of them when
/// RADVEX_BROKEN_FILES is "all".
std::size_t step() {
#ifdef __SANITIZE_ADDRESS__
    constexpr std::size_t kStep = 13;
#else
    constexpr std::size_t kStep = 3;
#endif
    const char* wish = std::getenv("RADVEX_BROKEN_FILES");
    return wish != nullptr && std::string(wish) == "all" ? 1 : kStep;
}

} // namespace

TEST_P(Broken, FilesEndInResultsOrErrorsAndAreReadTheSameEachTime) {
    const auto [kind, part] = GetParam();
    const BrokenFiles& broken = corpus().at(kind);
    prepare();
    std::size_t count = 0;
    for (std::size_t index = part * step(); index < broken.files.size(); index += kParts * step()) {
        readEverything(broken.files[index]);
        ++count;
    }
    std::printf("%s: %zu files, %ld calls, %ld of them ended in an error\n", broken.kind.c_str(), count, calls(),
                errors());
    EXPECT_GT(errors(), 0);
    EXPECT_LT(errors(), calls());
}

TEST(BrokenFilesCorpus, HasAtLeastAThousandFiles) {
    std::size_t count = 0;
    for (const BrokenFiles& broken : corpus()) {
        count += broken.files.size();
    }
    std::printf("%zu broken files\n", count);
    EXPECT_GE(count, 1000U);
}

namespace {

std::string kindName(const ::testing::TestParamInfo<std::tuple<std::size_t, std::size_t>>& info) {
    static constexpr std::array kNames{"Cut", "FlippedHeaders", "FlippedStreams", "WrongElements", "WrongNumbers"};
    return kNames.at(std::get<0>(info.param)) + std::to_string(std::get<1>(info.param) + 1);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Kinds, Broken,
                         ::testing::Combine(::testing::Range<std::size_t>(0, 5),
                                            ::testing::Range<std::size_t>(0, kParts)),
                         kindName);
