// A small host in C++: the installed host library does what a host has to do.
//
//     cppHost FILE
//
// It prints attributes, the modality values of all frames in short, and an error in full.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <variant>

#include "host/Host.h"

namespace {

using namespace velmora;

void printAttributes(Host& host, const std::string& file) {
    const Value attributes =
        host.call("ReadMetadata", {file, Store::ofTexts({"PatientName", "Modality", "Rows", "Columns"}), false});
    for (const NodeView node : attributes.get<Store>()) {
        const std::string name(node.name());
        if (node.isText()) {
            std::printf("%s: %s\n", name.c_str(), std::string(node.text()).c_str());
        } else if (node.type() == VType_Integer) {
            std::printf("%s: %d\n", name.c_str(), node.value().get<vint>());
        }
    }
}

/// The smallest and the largest value when they are signed numbers of 16 bits, as most of CT are.
void printValues(Host& host, const std::string& file) {
    const Value result = host.call("ReadIntermediatePixelData", {file, 0, 0});
    const auto& values = result.get<NumericArray>();
    std::printf("values: %d dimensions", static_cast<int>(values.dimensions().size()));
    if (values.type() == VNumericArray_S16) {
        const auto [least, greatest] = std::ranges::minmax_element(values.data<std::int16_t>());
        std::printf(", %d to %d", *least, *greatest);
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: cppHost FILE\n");
        return 2;
    }
    try {
        const auto host = Host::load(RADVEX_LIBRARY, radvexDeclarations());
        printAttributes(*host, argv[1]);
        printValues(*host, argv[1]);
        host->call("GetFrameCount", {"/no such file"});
    } catch (const LibraryError& error) {
        std::printf("%d %s: %s\n", error.code(), error.name().c_str(), error.what());
    } catch (const HostError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
