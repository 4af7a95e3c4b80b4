#include <cstdio>

#include "bench/hosted/hostedJobs.h"

namespace hosted {

using velmora::Tensor;
using velmora::Value;

void readPixels(velmora::Host& host, const std::string& function, const std::string& path) {
    if (function == "ReadIntermediatePixelData") {
        (void)host.call(function, {path, 1, 0});
        return;
    }
    const Tensor smallestToLargest(std::vector<vint>{2}, std::vector<double>{0.0, 0.0});
    (void)host.call(function, {path, 0, 0, smallestToLargest, false, 1});
}

} // namespace hosted
