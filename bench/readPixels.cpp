// Reads the pixels of a file through the host.

#include <chrono>
#include <cstdio>
#include <string>

#include "Host.h"

namespace {

velmora::Value read(velmora::Host& host, const std::string& job, const std::string& file) {
    if (job == "intermediate") {
        return host.call("ReadIntermediatePixelData", {file, 1, 0});
    }
    const velmora::Tensor scaling(std::vector<vint>{2}, std::vector<double>{0.0, 0.0});
    return host.call(job == "image" ? "ReadImage" : "ReadImageData", {file, 0, 0, scaling, false, 1});
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "Usage: readPixels image|data|intermediate FILE [again]\n");
        return 2;
    }
    const auto host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
    for (int reading = 0; reading < (argc > 3 ? 2 : 1); ++reading) {
        const auto start = std::chrono::steady_clock::now();
        (void)read(*host, argv[1], argv[2]);
        std::printf("%.0f ms\n",
                    std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
}
