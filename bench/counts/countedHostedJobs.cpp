// The jobs whose instructions are counted, through the exported functions. Usage: countedHostedJobs DATA OUT
// Each is done once to warm up, and once, without a file in the cache, in a function of a name that callgrind knows.

#include <cstdio>

#include "bench/hosted/hostedJobs.h"

namespace {

std::unique_ptr<velmora::Host> host;
std::string data;
std::string out;

/// A job that was the last call of its function would be jumped to, and the function be left before it.
volatile int finished = 0;
void finish() { finished = finished + 1; }

std::string elements() { return data + "/elements-2000.dcm"; }

/// 1,500 calls that do little beside passing arguments and results: a text and a number, two texts, a store. No error
/// is among them, which would take more than all the rest.
void bridge() {
    for (int round = 0; round < 500; ++round) {
        (void)host->call("GetFrameCount", {elements()});
        (void)host->call("setExceptionDetailsContext", {"Host`"});
        (void)host->call("ReadMetadata", {elements(), velmora::Store::ofTexts({"SOPInstanceUID"}), false});
    }
}
void metadata() { hosted::readMetadata(*host, elements()); }
void volume() { hosted::readRenderedVolume(*host, data + "/series/DICOMDIR", ""); }
void mediumMetadata() { hosted::readMediumMetadata(*host, data + "/small/DICOMDIR"); }
void writing() { hosted::writeFrames(*host, out, 4, 64, false); }

} // namespace

// callgrind confuses names that begin alike.
extern "C" {
[[gnu::noinline]] void bridgeCounted() { bridge(), finish(); }
[[gnu::noinline]] void metadataCounted() { metadata(), finish(); }
[[gnu::noinline]] void volumeCounted() { volume(), finish(); }
[[gnu::noinline]] void filesCounted() { mediumMetadata(), finish(); }
[[gnu::noinline]] void writingCounted() { writing(), finish(); }
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "Usage: countedHostedJobs DATA OUT\n");
        return 2;
    }
    host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
    data = argv[1];
    out = argv[2];
    for (void (*job)() : {metadata, volume, mediumMetadata, writing}) {
        job();
    }
    (void)host->call("GetFrameCount", {elements()});
    bridgeCounted();
    for (void (*job)() : {metadataCounted, volumeCounted, filesCounted, writingCounted}) {
        (void)host->call("ClearCache");
        job();
    }
    host.reset();
}
