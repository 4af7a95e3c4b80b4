// Reads a volume or metadata of a medium through the host.

#include <cstdio>
#include <string>

#include "Host.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "Usage: readDirectory volume|metadata DICOMDIR\n");
        return 2;
    }
    const std::string file = argv[2];
    const auto host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
    if (std::string(argv[1]) == "volume") {
        const velmora::Tensor commonWindow(std::vector<vint>{2}, std::vector<double>{-2.0, 0.0});
        (void)host->call("Read3DImage", {file, ".*", ".*", ".*", commonWindow, 1});
    } else {
        const auto names = velmora::Store::ofTexts(
            {"PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing"});
        const velmora::Value found = host->call("ReadMetadataRecursive", {file, names, ".*", false});
        std::printf("%zu files\n", found.get<velmora::Store>().size());
    }
}
