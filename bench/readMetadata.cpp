// Reads all metadata of a file through the host, and says how the time divides between library and host.

#include <chrono>
#include <cstdio>

#include "Host.h"

namespace {

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: readMetadata FILE [--apart]\n");
        return 2;
    }
    const auto host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
    auto start = std::chrono::steady_clock::now();
    host->call("GetFrameCount", {argv[1]});
    const double loading = millisecondsSince(start);
    start = std::chrono::steady_clock::now();
    const velmora::Value result = host->call("ReadAllMetadata", {argv[1], velmora::Store::empty(), false});
    std::printf("loading %.0f ms, reading %.0f ms", loading, millisecondsSince(start));
    if (argc > 2) {
        // The host's share of the reading: the same nodes made once more, without the library.
        start = std::chrono::steady_clock::now();
        const velmora::Store copy = result.get<velmora::Store>();
        std::printf(", of which the host's nodes about %.0f ms", millisecondsSince(start));
    }
    std::printf("\n");
}
