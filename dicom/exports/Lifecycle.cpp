// The start and the end of the library, its errors, and its cache of readers.

#include "bridge/ErrorManager.h"
#include "bridge/GuardedCall.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/oflog/logger.h"
#include "dcmtk/oflog/nullap.h"
#include "dicom/exports/LibraryErrors.h"
#include "dicom/exports/Radvex.h"
#include "dicom/pixels/Jpeg2000Decoder.h"
#include "dicom/readers/DcmReaderCache.h"

using radvex::dcmReaderCache;

namespace {

void silenceDcmtk() {
    const dcmtk::log4cplus::SharedAppenderPtr silence(new dcmtk::log4cplus::NullAppender());
    dcmtk::log4cplus::Logger root = dcmtk::log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(silence);
}

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
    radvex::registerJpeg2000Decoders();
}

void cleanupCodecs() {
    DJEncoderRegistration::cleanup();
    DJLSEncoderRegistration::cleanup();
    DcmRLEEncoderRegistration::cleanup();
    DJDecoderRegistration::cleanup();
    DJLSDecoderRegistration::cleanup();
    DcmRLEDecoderRegistration::cleanup();
    radvex::cleanupJpeg2000Decoders();
}

} // namespace

int VelmoraLibrary_initialize(VelmoraLibraryData libData) {
    GTU::LibraryData::setLibraryData(libData);
    GTU::ErrorManager::registerPlugpackErrors(radvex::libraryErrors());
    silenceDcmtk();
    registerEncoders();
    registerDecoders();
    return VELMORA_NO_ERROR;
}

void VelmoraLibrary_uninitialize(VelmoraLibraryData /*libData*/) {
    cleanupCodecs();
    dcmReaderCache.clear();
}

int sendRegisteredErrors(VelmoraLibraryData /*libData*/, TTLink link) {
    return GTU::guardedAgainstAll([&] { GTU::ErrorManager::sendRegisteredErrorsViaTether(link); });
}

int setExceptionDetailsContext(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCallAgainstAll(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        GTU::GantryError::setExceptionDetailsSymbolContext(mngr.getString(0));
        mngr.setString(GTU::GantryError::getExceptionDetailsSymbol());
    });
}

int CloseReader(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res,
                            [](GTU::VArgumentManager& mngr) { dcmReaderCache.close(mngr.getString(0)); });
}

int ClearCache(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager&) { dcmReaderCache.clear(); });
}
