#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "bench/hosted/hostedJobs.h"

namespace hosted {

using velmora::Store;
using velmora::Value;

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Value attribute(velmora::Host& host, const std::string& path, const std::string& keyword) {
    return host.call("ReadMetadata", {path, Store::ofTexts({keyword}), false});
}

/// Does the work again and again, and prints the median of its times in microseconds.
template <typename Work>
void printMedian(Work work) {
    constexpr std::size_t kTimes = 1000;
    std::vector<double> milliseconds(kTimes);
    for (double& time : milliseconds) {
        const auto start = Clock::now();
        work();
        time = millisecondsSince(start);
    }
    std::nth_element(milliseconds.begin(), milliseconds.begin() + kTimes / 2, milliseconds.end());
    std::printf("%.3f\n", 1000 * milliseconds[kTimes / 2]);
}

} // namespace

void readAttribute(velmora::Host& host, const std::string& path, const std::string& keyword) {
    std::printf("%zu attribute\n", attribute(host, path, keyword).get<Store>().size());
}

void readAttributeAgain(velmora::Host& host, const std::string& path, const std::string& keyword) {
    (void)attribute(host, path, keyword);
    printMedian([&] { (void)attribute(host, path, keyword); });
}

void openAndReadAttribute(velmora::Host& host, const std::string& path, const std::string& keyword) {
    printMedian([&] {
        (void)attribute(host, path, keyword);
        host.call("CloseReader", {path});
    });
}

void readMetadata(velmora::Host& host, const std::string& path) {
    const Value result = host.call("ReadAllMetadata", {path, Store::empty(), false});
    std::printf("%zu attributes\n", result.get<Store>().size());
}

void divideMetadata(velmora::Host& host, const std::string& path) {
    auto start = Clock::now();
    (void)host.call("GetFrameCount", {path});
    const double opening = millisecondsSince(start);
    start = Clock::now();
    const Value result = host.call("ReadAllMetadata", {path, Store::empty(), false});
    const double reading = millisecondsSince(start);
    start = Clock::now(); // the host's share of the reading: the same nodes made once more, without the library
    const Store copy = result.get<Store>();
    std::printf("opening %.0f ms, reading %.0f ms, of which the host's nodes about %.0f ms\n", opening, reading,
                millisecondsSince(start));
}

} // namespace hosted
