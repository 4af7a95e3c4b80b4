// The jobs whose instructions are counted, with DCMTK alone. Usage: countedBareJobs DATA OUT
// Each is done once to warm up, and once in a function of a name that callgrind knows.

#include <cstdio>

#include "bench/bare/bareJobs.h"

namespace {

std::string data;
std::string out;

/// A job that was the last call of its function would be jumped to, and the function be left before it.
volatile int finished = 0;
void finish() { finished = finished + 1; }

void metadata() { bare::readMetadata(data + "/elements-2000.dcm"); }
void volume() { bare::readRenderedVolume(data + "/series/DICOMDIR", ""); }
void mediumMetadata() { bare::readMediumMetadata(data + "/small/DICOMDIR"); }
void writing() { bare::writeFrames(out, 4, 64, false); }

} // namespace

// callgrind confuses names that begin alike.
extern "C" {
[[gnu::noinline]] void metadataCounted() { metadata(), finish(); }
[[gnu::noinline]] void volumeCounted() { volume(), finish(); }
[[gnu::noinline]] void filesCounted() { mediumMetadata(), finish(); }
[[gnu::noinline]] void writingCounted() { writing(), finish(); }
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "Usage: countedBareJobs DATA OUT\n");
        return 2;
    }
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    data = argv[1];
    out = argv[2];
    for (void (*job)() : {metadata, volume, mediumMetadata, writing}) {
        job();
    }
    metadataCounted();
    volumeCounted();
    filesCounted();
    writingCounted();
}
