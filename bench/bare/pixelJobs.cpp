#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/bare/bareJobs.h"

#include "dcmtk/dcmimgle/dcmimage.h"
#include "dcmtk/dcmimgle/dipixel.h"

namespace bare {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<unsigned char, Free>;

Buffer newBuffer(std::size_t bytes) { return Buffer(static_cast<unsigned char*>(std::calloc(bytes, 1))); }

std::unique_ptr<DicomImage> imageOf(DcmFileFormat& file) {
    return std::make_unique<DicomImage>(file.getDataset(), file.getDataset()->getCurrentXfer(), 1UL, 0UL, 0UL);
}

} // namespace

void readRendered(const std::string& path) {
    registerDecoders();
    const auto file = open(path);
    const auto image = imageOf(*file);
    image->hideAllOverlays(0);
    image->setMinMaxWindow(0);
    const int bits = image->getDepth() <= 8 ? 8 : 16;
    const unsigned long frameBytes = image->getOutputDataSize(bits);
    const Buffer buffer = newBuffer(frameBytes * image->getFrameCount());
    for (unsigned long frame = 0; frame < image->getFrameCount(); ++frame) {
        if (image->getOutputData(buffer.get() + frame * frameBytes, frameBytes, bits, frame, 0) == 0) {
            fail(path + " has no pixels");
        }
    }
    const int last = buffer.get()[frameBytes * image->getFrameCount() - 1];
    std::printf("%lu frames, last byte %d\n", image->getFrameCount(), last);
}

void readIntermediate(const std::string& path) {
    registerDecoders();
    const auto file = open(path);
    const auto image = imageOf(*file);
    const DiPixel* pixels = image->getInterData();
    if (pixels == nullptr) {
        fail(path + " has no pixels");
    }
    const std::size_t bytes = pixels->getCount() * sizeof(Uint16);
    const Buffer buffer = newBuffer(bytes);
    std::memcpy(buffer.get(), pixels->getData(), bytes);
    std::printf("%lu frames, last byte %d\n", image->getFrameCount(), buffer.get()[bytes - 1]);
}

} // namespace bare
