// Many calls in one process, every second one on a broken file. Usage: soak [CALLS] [--any-growth]
//
// Fails when memory keeps growing, a descriptor stays open, the host's accounting is not at zero, or the good file
// reads differently after a broken one.
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "fuzz/Choices.h"
#include "fuzz/DicomMutation.h"
#include "fuzz/SeedFiles.h"

namespace {

namespace fs = std::filesystem;
using namespace radvex::fuzz;
using velmora::Store;
using velmora::Value;

constexpr long kMostGrowth = 10L << 20; // bytes
constexpr const char* kGoodName = "good.dcm";
constexpr const char* kBrokenName = "broken.dcm";
constexpr const char* kDirectoryName = "DICOMDIR";

struct Figures {
    long calls = 0;
    long refused = 0;
    long good = 0;
};

/// Bytes of this process in memory, once the allocator gave back what it holds in reserve.
long residentBytes() {
    malloc_trim(0);
    long whole = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> whole >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

long openDescriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}); }

Bytes bytesOf(const std::string& text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

class Soak {
  public:
    Soak() : mGoodPath(mHarness.write(kGoodName, bytesOf(seedImage()))), mExpected(readGood()) {
        if (mExpected.empty()) {
            throw std::runtime_error("The good file cannot be read.");
        }
    }

    /// One round is two calls: one on a broken file, one on the good file.
    void round(std::uint32_t number) {
        std::minstd_rand random(number + 1);
        breakFile(random);
        callOnBroken(random);
        (void)mHarness.host().call("ClearCache");
        if (readGood() != mExpected) {
            throw std::runtime_error("The good file reads differently after broken file " + std::to_string(number) +
                                     ".");
        }
        ++mFigures.calls;
        ++mFigures.good;
    }

    const Figures& figures() const { return mFigures; }
    void finish() { mHarness.finish(); }

  private:
    std::string readGood() {
        const Value pixels = mHarness.call("ReadImage", {mGoodPath, 0, 0, scaling(), false, 1});
        if (!pixels.is<velmora::Image>()) {
            return "";
        }
        const auto bytes = pixels.get<velmora::Image>().bytes();
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    static velmora::Tensor scaling() { return {std::vector<vint>{2}, std::vector<double>{0.0, 0.0}}; }

    /// A seed with up to three broken elements, or cut, or with broken bytes; under the directory's name at times.
    void breakFile(std::minstd_rand& random) {
        const auto& files = seedFiles();
        static const std::string directory = seedDirectory();
        mIsDirectory = random() % 8 == 0;
        const std::string& seed = mIsDirectory ? directory : files[random() % files.size()].bytes;
        std::vector<unsigned char> bytes(seed.begin(), seed.end());
        for (auto count = random() % 3 + 1; count > 0; --count) {
            mutateElement(bytes, random);
        }
        if (random() % 4 == 0) {
            bytes.resize(random() % (bytes.size() + 1));
        }
        if (random() % 4 == 0 && !bytes.empty()) {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
        }
        mBrokenPath = mHarness.path(mIsDirectory ? kDirectoryName : kBrokenName);
        std::ofstream stream(mBrokenPath, std::ios::binary);
        stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    void callOnBroken(std::minstd_rand& random) {
        try {
            (void)(mIsDirectory ? callDirectory(random) : callFile(random));
        } catch (const velmora::LibraryError&) {
            ++mFigures.refused;
        }
        ++mFigures.calls;
    }

    Value callFile(std::minstd_rand& random) {
        velmora::Host& host = mHarness.host();
        switch (random() % 7) {
        case 0: return host.call("ReadAllMetadata", {mBrokenPath, Store::empty(), random() % 2 == 0});
        case 1: return host.call("ReadMetadata", {mBrokenPath, Store::ofTexts({"PixelData", "OverlayData"}), false});
        case 2: return host.call("ReadImageData", {mBrokenPath, 0, 0, scaling(), true, 1});
        case 3: return host.call("ReadIntermediatePixelData", {mBrokenPath, 1, 0});
        case 4: return host.call("ReadOverlays", {mBrokenPath});
        case 5: return host.call("ReadSeriesInfo", {mBrokenPath, Store::ofTexts({"UID"}), ".*", ".*", "1.*"});
        default: return host.call("ReadImage", {mBrokenPath, 0, 0, scaling(), false, 1});
        }
    }

    Value callDirectory(std::minstd_rand& random) {
        velmora::Host& host = mHarness.host();
        switch (random() % 4) {
        case 0: return host.call("ReadDICOMDIRStructure", {mBrokenPath, ".*", ".*", ".*", true});
        case 1: return host.call("Read3DImage", {mBrokenPath, ".*", ".*", ".*", scaling(), 1});
        case 2: return host.call("ReadMetadataRecursive", {mBrokenPath, Store::ofTexts({"PatientID"}), ".*", true});
        default: return host.call("Read2DImagesDir", {mBrokenPath, scaling(), true, 1, ".*", ".*", ".*"});
        }
    }

    Harness& mHarness = Harness::instance();
    std::string mGoodPath;
    std::string mExpected;
    std::string mBrokenPath{};
    bool mIsDirectory = false;
    Figures mFigures{};
};

/// Tables, caches and the allocator reach their size in the first tenth; what grows later is a leak.
bool run(long calls, bool checksGrowth) {
    const auto start = std::chrono::steady_clock::now();
    Soak soak;
    const auto rounds = static_cast<std::uint32_t>(calls / 2);
    const std::uint32_t warmUp = std::min(rounds / 2, std::max(rounds / 10, 500U));
    long memory = 0;
    long descriptors = 0;
    for (std::uint32_t number = 0; number < rounds; ++number) {
        if (number == warmUp) {
            memory = residentBytes();
            descriptors = openDescriptors();
        }
        soak.round(number);
    }
    const long growth = residentBytes() - memory;
    const long opened = openDescriptors() - descriptors;
    soak.finish();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    const Figures& figures = soak.figures();
    std::printf("%ld calls in %.1f s: %ld on broken files, %ld of them refused; the good file read right %ld times\n",
                figures.calls, seconds.count(), figures.calls - figures.good, figures.refused, figures.good);
    std::printf("memory grew by %.2f MiB after %u calls, open descriptors by %ld\n",
                static_cast<double>(growth) / (1 << 20), 2 * warmUp, opened);
    return opened == 0 && (!checksGrowth || growth <= kMostGrowth);
}

} // namespace

int main(int argc, char** argv) {
    long calls = 100000;
    bool checksGrowth = true;
    for (int index = 1; index < argc; ++index) {
        if (std::strcmp(argv[index], "--any-growth") == 0) {
            checksGrowth = false;
        } else {
            calls = std::strtol(argv[index], nullptr, 10);
        }
    }
    try {
        if (run(calls, checksGrowth)) {
            return 0;
        }
        std::fputs("soak: that is too much\n", stderr);
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "soak: %s\n", error.what());
    }
    return 1;
}
