#include "bridge/ErrorManager.h"
#include "dcmtk/oflog/logger.h"
#include "dcmtk/oflog/nullap.h"
#include "dicom/exports/LibraryErrors.h"
#include "dicom/exports/Radvex.h"
#include "dicom/pixels/Codecs.h"
#include "dicom/readers/DcmReaderCache.h"

namespace {

void silenceDcmtk() {
    const dcmtk::log4cplus::SharedAppenderPtr silence(new dcmtk::log4cplus::NullAppender());
    dcmtk::log4cplus::Logger root = dcmtk::log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(silence);
}

} // namespace

int VelmoraLibrary_initialize(VelmoraLibraryData libData) {
    GTU::LibraryData::setLibraryData(libData);
    GTU::ErrorManager::registerPlugpackErrors(radvex::libraryErrors());
    silenceDcmtk();
    radvex::registerCodecs();
    return VELMORA_NO_ERROR;
}

void VelmoraLibrary_uninitialize(VelmoraLibraryData /*libData*/) {
    radvex::cleanupCodecs();
    radvex::dcmReaderCache.clear();
}
