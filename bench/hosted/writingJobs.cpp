#include <cstdint>
#include <filesystem>
#include <vector>

#include "bench/hosted/hostedJobs.h"
#include "bench/pixels.h"

namespace hosted {

namespace fs = std::filesystem;
using velmora::Image;
using velmora::Store;
using velmora::Value;

void writeFrames(velmora::Host& host, const std::string& out, int frames, int side, bool compressed) {
    Image image(frames, side, side, 1, VImage_U16, VColorSpace_Grey, true);
    fillPixels(image.data<std::uint16_t>().data(), frames, side, side);
    std::vector<Value> arguments{out};
    arguments.emplace_back(std::move(image)); // moved: an initializer list would copy it
    for (const Value& argument : std::vector<Value>{
             Store::empty(), Store::empty(), compressed ? "JPEG-LSLossless" : "Uncompressed", 0, 0, Store::empty()}) {
        arguments.push_back(argument);
    }
    (void)host.call("WriteImage", arguments);
}

void anonymize(velmora::Host& host, const std::string& folder, const std::string& out) {
    fs::create_directories(out);
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("IM")) {
            (void)host.call("DicomAnonymize", {entry.path().string(), (fs::path(out) / name).string(), Store::empty()});
        }
    }
}

} // namespace hosted
