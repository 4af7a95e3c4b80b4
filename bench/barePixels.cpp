// The floor: loads a file as the library does and gets its pixels with DCMTK alone, every frame into one buffer.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dctk.h"
#include "dcmtk/dcmimage/diregist.h"
#include "dcmtk/dcmimgle/dcmimage.h"
#include "dcmtk/dcmimgle/dipixel.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpls/djdecode.h"

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<unsigned char, Free>;

Buffer newBuffer(std::size_t bytes) { return Buffer(static_cast<unsigned char*>(std::calloc(bytes, 1))); }

unsigned long render(DicomImage& image) {
    image.hideAllOverlays(0);
    image.setMinMaxWindow(0);
    const unsigned long frameBytes = image.getOutputDataSize(16);
    const Buffer buffer = newBuffer(frameBytes * image.getFrameCount());
    for (unsigned long frame = 0; frame < image.getFrameCount(); ++frame) {
        image.getOutputData(buffer.get() + frame * frameBytes, frameBytes, 16, frame, 0);
    }
    return buffer.get()[frameBytes * image.getFrameCount() - 1];
}

unsigned long copyIntermediate(const DicomImage& image) {
    const DiPixel& pixels = *image.getInterData();
    const std::size_t bytes = pixels.getCount() * sizeof(Uint16);
    const Buffer buffer = newBuffer(bytes);
    std::memcpy(buffer.get(), pixels.getData(), bytes);
    return buffer.get()[bytes - 1];
}

} // namespace

int main(int argc, char** argv) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DJDecoderRegistration::registerCodecs();
    DJLSDecoderRegistration::registerCodecs();
    DcmRLEDecoderRegistration::registerCodecs();
    DcmFileFormat file;
    if (argc != 3 || file.loadFile(argv[2], EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect).bad()) {
        std::fprintf(stderr, "Usage: barePixels image|data|intermediate FILE\n");
        return 2;
    }
    (void)file.getDataset()->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    (void)file.convertToUTF8();
    DicomImage image(file.getDataset(), file.getDataset()->getCurrentXfer(), 1UL, 0UL, 0UL);
    const unsigned long last = std::string(argv[1]) == "intermediate" ? copyIntermediate(image) : render(image);
    std::printf("%lu frames, last byte %lu\n", image.getFrameCount(), last);
}
