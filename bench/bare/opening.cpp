#include <cstdio>
#include <cstdlib>

#include "bench/bare/bareJobs.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmimage/diregist.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpls/djdecode.h"

namespace bare {

void fail(const std::string& sentence) {
    std::fprintf(stderr, "bare DCMTK: %s\n", sentence.c_str());
    std::exit(1);
}

void check(const OFCondition& condition) {
    if (condition.bad()) {
        fail(condition.text());
    }
}

std::unique_ptr<DcmFileFormat> open(const std::string& path) {
    auto file = std::make_unique<DcmFileFormat>();
    if (file->loadFile(path.c_str(), EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect).bad()) {
        fail(path + " cannot be read");
    }
    (void)file->getDataset()->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    (void)file->convertToUTF8();
    return file;
}

void registerDecoders() {
    DJDecoderRegistration::registerCodecs();
    DJLSDecoderRegistration::registerCodecs();
    DcmRLEDecoderRegistration::registerCodecs();
}

} // namespace bare
