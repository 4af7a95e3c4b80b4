// Saves a loaded file, or a new file with or without compression.

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcrlerp.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpeg/djrploss.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "dicom/pixels/Compression.h"
#include "dicom/writers/DcmWriter.h"
#include "dicom/writers/WriteChecks.h"

namespace radvex {

namespace {

/// A path for DCMTK, which would take "-" for a standard stream of the host.
OFFilename fileNameOf(const std::string& path) { return OFFilename(path == "-" ? "./-" : path.c_str(), true); }

} // namespace

const std::unordered_map<std::string, E_TransferSyntax> DcmWriter::mTransferSyntaxMap{
    {"JPEGLossless", EXS_JPEGProcess14SV1},
    {"JPEGLosslessNonhierarchical", EXS_JPEGProcess14},
    {"JPEGLossy8bit", EXS_JPEGProcess1},
    {"JPEGLossy12bit", EXS_JPEGProcess2_4},
    {"JPEG-LSLossless", EXS_JPEGLSLossless},
    {"JPEG-LSLossy", EXS_JPEGLSLossy},
    {"RLE", EXS_RLELossless}};

void DcmWriter::saveFile(const std::string& path, const ImageWriteOptions& options) {
    GTU::validatePath(path, std::ios_base::out);
    // In every file, also a loaded one.
    requireWritten(mDataset->putAndInsertString(DCM_ConversionType, defaultOf("ConversionType").c_str(), OFTrue),
                   "ConversionType");
    if (mLoadedFromFile) {
        saveLoaded(path);
    } else if (!options.compression) {
        saveAs(path, EXS_LittleEndianImplicit, EWM_fileformat);
    } else {
        saveCompressed(path, options);
    }
}

void DcmWriter::saveLoaded(const std::string& path) {
    // DCMTK would keep a wrong length of the meta information, and readers would not find the dataset.
    (void)mFile.getMetaInfo()->computeGroupLengthAndPadding(EGL_recalcGL, EPD_noChange, EXS_LittleEndianExplicit,
                                                            EET_UndefinedLength);
    saveAs(path, mOriginalXfer, EWM_dontUpdateMeta);
    if (!canBeLoaded(path)) { // a broken file that DCMTK has read may become one that it cannot read
        GTU::ErrorManager::throwException("ImageWriteError", "What was written cannot be read again");
    }
}

void DcmWriter::saveCompressed(const std::string& path, const ImageWriteOptions& options) {
    const auto known = mTransferSyntaxMap.find(*options.compression);
    if (known == mTransferSyntaxMap.end()) {
        GTU::ErrorManager::throwExceptionWithDebugInfo("ImageWriteError", "No such name.",
                                                       "Unknown compression method");
    }
    const E_TransferSyntax syntax = known->second;
    const auto parameter = getRepresentationParameter(syntax, options);
    if (!holdsAllPixels(*mDataset) || compressPixels(*mDataset, syntax, *parameter).bad() ||
        !mDataset->canWriteXfer(syntax, EXS_Unknown)) {
        GTU::ErrorManager::throwException("ImageWriteError"); // without a reason, whatever the cause
    }
    if (!canBeDecoded(*mDataset)) {
        GTU::ErrorManager::throwException("ImageWriteError", "The compressed pixels cannot be read back");
    }
    // Lossy compression gave the dataset a new instance UID. DCMTK copies it when the meta information has none.
    for (const DcmTagKey& key : {DCM_MediaStorageSOPClassUID, DCM_MediaStorageSOPInstanceUID}) {
        const std::unique_ptr<DcmElement> removed(mFile.getMetaInfo()->remove(key));
    }
    saveAs(path, syntax, EWM_fileformat);
}

void DcmWriter::saveAs(const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode) {
    mMemory.require(); // without memory, elements may have lost their values
    requireImageWritten(
        mFile.saveFile(fileNameOf(path), syntax, EET_UndefinedLength, EGL_recalcGL, EPD_noChange, 0, 0, mode));
    mMemory.require();
    if (!isSavedWhole(mFile, path, syntax, mode)) {
        GTU::ErrorManager::throwException("ImageWriteError", "The file was not written as a whole");
    }
}

std::unique_ptr<DcmRepresentationParameter>
DcmWriter::getRepresentationParameter(E_TransferSyntax syntax, const ImageWriteOptions& options) const {
    switch (syntax) {
    case EXS_JPEGProcess14:
    case EXS_JPEGProcess14SV1: return std::make_unique<DJ_RPLossless>(options.firstParameter, options.secondParameter);
    case EXS_JPEGProcess1:
    case EXS_JPEGProcess2_4: return std::make_unique<DJ_RPLossy>(options.firstParameter);
    case EXS_JPEGLSLossless:
    case EXS_JPEGLSLossy:
        return std::make_unique<DJLSRepresentationParameter>(static_cast<Uint16>(options.firstParameter),
                                                             syntax == EXS_JPEGLSLossless);
    case EXS_RLELossless: return std::make_unique<DcmRLERepresentationParameter>();
    default: return nullptr;
    }
}

} // namespace radvex
