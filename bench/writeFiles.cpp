// Writes a multi-frame image, and anonymizes files one by one, through the host. The same jobs as bareWrite.

#include <cstdio>
#include <filesystem>
#include <string>

#include "Host.h"
#include "pixels.h"

namespace {

namespace fs = std::filesystem;
using velmora::Image;
using velmora::Store;
using velmora::Value;

constexpr vint kFrames = 200;

Image makeImage() {
    Image image(kFrames, kSize, kSize, 1, VImage_U16, VColorSpace_Grey, true);
    fillPixels(image.data<std::uint16_t>().data(), kFrames);
    return image;
}

void anonymize(velmora::Host& host, const fs::path& folder, const fs::path& out) {
    fs::create_directories(out);
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("IM")) {
            host.call("DicomAnonymize", {entry.path().string(), (out / name).string(), Store::empty()});
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "Usage: writeFiles write OUT.dcm [jpegls] | anonymize FOLDER OUT\n");
        return 2;
    }
    const auto host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
    if (std::string(argv[1]) == "write") {
        std::vector<Value> arguments{argv[2]};
        arguments.emplace_back(makeImage()); // moved: an initializer list would copy it
        for (const Value& argument : std::vector<Value>{
                 Store::empty(), Store::empty(), argc > 3 ? "JPEG-LSLossless" : "Uncompressed", 0, 0, Store::empty()}) {
            arguments.push_back(argument);
        }
        host->call("WriteImage", std::move(arguments));
    } else if (argc > 3) {
        anonymize(*host, argv[2], argv[3]);
    }
}
