// The jobs whose instructions are counted, through the exported functions. Usage: countedHostedJobs DATA OUT
// Each is done once to warm up, and once, without a file in the cache, in a function of a name that callgrind knows.

#include <cstdio>

#include "hostedJobs.h"

namespace {

std::unique_ptr<velmora::Host> host;
std::string data;
std::string out;

/// A job that was the last call of its function would be jumped to, and the function be left before it.
volatile int finished = 0;
void finish() { finished = finished + 1; }

std::string elements() { return data + "/elements-2000.dcm"; }

/// Calls of every shape that do little beside passing arguments and results; their files are open.
void bridge() {
    for (int call = 0; call < 500; ++call) {
        (void)host->call("GetFrameCount", {elements()});
        (void)host->call("setExceptionDetailsContext", {"Host`"});
        hosted::readAttribute(*host, elements(), "SOPInstanceUID");
        try {
            (void)host->call("GetKeyword", {"", ""});
        } catch (const velmora::LibraryError&) { // part of what is counted
        }
    }
}
void metadata() { hosted::readMetadata(*host, elements()); }
void volume() { hosted::readRenderedVolume(*host, data + "/series/DICOMDIR", ""); }
void mediumMetadata() { hosted::readMediumMetadata(*host, data + "/small/DICOMDIR"); }
void writing() { hosted::writeFrames(*host, out, 4, 64, false); }

} // namespace

extern "C" {
[[gnu::noinline]] void countedBridge() { bridge(), finish(); }
[[gnu::noinline]] void countedMetadata() { metadata(), finish(); }
[[gnu::noinline]] void countedVolume() { volume(), finish(); }
[[gnu::noinline]] void countedMediumMetadata() { mediumMetadata(), finish(); }
[[gnu::noinline]] void countedWriting() { writing(), finish(); }
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
    countedBridge();
    for (void (*job)() : {countedMetadata, countedVolume, countedMediumMetadata, countedWriting}) {
        (void)host->call("ClearCache");
        job();
    }
    host.reset();
}
