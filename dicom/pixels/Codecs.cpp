#include "dicom/pixels/Codecs.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmjpls/djencode.h"

namespace radvex {

namespace {

void registerEncoders() {
    // Every value is spelt out: what a file looks like must not change with the defaults of another DCMTK.
    DJEncoderRegistration::registerCodecs(ECC_lossyYCbCr, EUC_default,
                                          OFFalse,        // optimize Huffman
                                          0,              // smoothing
                                          0,              // forced bit depth
                                          0,              // fragment size
                                          OFTrue,         // create offset table
                                          ESS_422,        // sample factors
                                          OFTrue,         // write YBR 4:2:2
                                          OFFalse,        // convert to Secondary Capture
                                          0, 0, 0.0, 0.0, // window type and parameter, VOI centre and width
                                          0, 0, 0, 0,     // region of interest
                                          OFTrue,         // use pixel values
                                          OFFalse,        // use modality rescale
                                          OFFalse,        // accept wrong palette tags
                                          OFFalse,        // ACR-NEMA compatibility
                                          OFTrue);        // real lossless
    DJLSEncoderRegistration::registerCodecs(0, 0, 0, 0,   // thresholds and reset
                                            OFTrue,       // prefer cooked encoding
                                            0,            // fragment size
                                            OFTrue,       // create offset table
                                            EJLSUC_default,
                                            OFFalse, // convert to Secondary Capture
                                            DJLSCodecParameter::interleaveDefault,
                                            OFTrue);    // pad with FF at the end of the bit stream
    DcmRLEEncoderRegistration::registerCodecs(OFFalse,  // create SOP Instance UID
                                              0,        // fragment size
                                              OFTrue,   // create offset table
                                              OFFalse); // convert to Secondary Capture
}

void registerDecoders() {
    DJDecoderRegistration::registerCodecs(EDC_photometricInterpretation, EUC_default, EPC_default, OFFalse, OFFalse,
                                          OFFalse);
    DJLSDecoderRegistration::registerCodecs(EJLSUC_default, EJLSPC_restore, OFFalse, OFFalse);
    DcmRLEDecoderRegistration::registerCodecs(OFFalse, OFFalse);
}

} // namespace

void registerCodecs() {
    registerEncoders();
    registerDecoders();
}

void cleanupCodecs() {
    DJEncoderRegistration::cleanup();
    DJLSEncoderRegistration::cleanup();
    DcmRLEEncoderRegistration::cleanup();
    DJDecoderRegistration::cleanup();
    DJLSDecoderRegistration::cleanup();
    DcmRLEDecoderRegistration::cleanup();
}

} // namespace radvex
