// Run while the build is configured: is this a DCMTK that the library can stand on?
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdict.h"
#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmfg/fgpixmsr.h"
#include "dcmtk/dcmimage/diregist.h"
#include "dcmtk/dcmiod/iodcommn.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmpmap/dpmparametricmapiod.h"

#include <cstdio>

int main() {
    DcmDataDictionary dictionary(OFTrue, OFFalse);
    if (dictionary.findEntry("PatientName") == nullptr) {
        std::printf("it has no compiled-in dictionary (built with DCMTK_DEFAULT_DICT=builtin it would)");
        return 1;
    }
    DJDecoderRegistration::registerCodecs();
    DJLSDecoderRegistration::registerCodecs();
    DcmRLEDecoderRegistration::registerCodecs();
    FGPixelMeasures measures;
    return measures.getType() == DcmFGTypes::EFG_PIXELMEASURES && sizeof(DPMParametricMapIOD) > 0 ? 0 : 1;
}
