// Run while the build is configured: is this a DCMTK that the library can stand on?
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcdict.h"
#include "dcmtk/dcmdata/dcfilefo.h"
#include "dcmtk/dcmdata/dcrledec.h"
#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmfg/fgpixmsr.h"
#include "dcmtk/dcmimage/diregist.h"
#include "dcmtk/dcmiod/iodcommn.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmpmap/dpmparametricmapiod.h"
#include "dcmtk/oflog/oflog.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

/// What a short segment does not fill is memory of the process.
bool leavesMemoryInPictures() {
    mallopt(M_PERTURB, 0x5A);
    DcmRLEDecoder decoder(64);
    unsigned char bytes[] = {1, 7, 7};
    (void)decoder.decompress(bytes, sizeof bytes);
    mallopt(M_PERTURB, 0);
    return static_cast<const unsigned char*>(decoder.getOutputBuffer())[63] != 0;
}

/// A value that could not be read from its file is given to the next one who asks.
bool givesOutUnreadValues() {
    char path[] = "/tmp/radvex-probe-XXXXXX";
    const int descriptor = mkstemp(path);
    const std::vector<Uint8> document(9000, 1);
    DcmFileFormat written;
    written.getDataset()->putAndInsertString(DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.104.1");
    written.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
    written.getDataset()->putAndInsertUint8Array(DCM_EncapsulatedDocument, document.data(), document.size());
    (void)written.saveFile(path, EXS_LittleEndianExplicit);
    DcmFileFormat read;
    (void)read.loadFile(path, EXS_Unknown, EGL_noChange, 4096);
    const bool isCut = ftruncate(descriptor, 4000) == 0;
    DcmElement* element = nullptr;
    Uint8* bytes = nullptr;
    (void)read.getDataset()->findAndGetElement(DCM_EncapsulatedDocument, element);
    const bool givesOut =
        element != nullptr && isCut && element->getUint8Array(bytes).bad() && element->getUint8Array(bytes).good();
    close(descriptor);
    unlink(path);
    return givesOut;
}

} // namespace

int main() {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DcmDataDictionary dictionary(OFTrue, OFFalse);
    if (dictionary.findEntry("PatientName") == nullptr) {
        std::printf("it has no compiled-in dictionary (built with DCMTK_DEFAULT_DICT=builtin it would)");
        return 1;
    }
#ifndef RADVEX_UNPATCHED_DCMTK
    if (leavesMemoryInPictures() || givesOutUnreadValues()) {
        std::printf("it lacks the patches in cmake/dcmtk. Leave DCMTK_DIR out to have one built with them, or say "
                    "-DRADVEX_UNPATCHED_DCMTK=ON to go on with its defects (SECURITY.md)");
        return 1;
    }
#endif
    DJDecoderRegistration::registerCodecs();
    DJLSDecoderRegistration::registerCodecs();
    DcmRLEDecoderRegistration::registerCodecs();
    FGPixelMeasures measures;
    return measures.getType() == DcmFGTypes::EFG_PIXELMEASURES && sizeof(DPMParametricMapIOD) > 0 ? 0 : 1;
}
