#include <filesystem>

#include "bench/bare/bareJobs.h"
#include "bench/pixels.h"

#include "dcmtk/dcmdata/dcuid.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"

namespace bare {

namespace {

namespace fs = std::filesystem;

std::string newUid() {
    char uid[100];
    return dcmGenerateUniqueIdentifier(uid);
}

void putAttributes(DcmDataset& dataset, int frames, int side) {
    check(dataset.putAndInsertString(DCM_SOPClassUID, UID_MultiframeGrayscaleWordSecondaryCaptureImageStorage));
    check(dataset.putAndInsertString(DCM_SOPInstanceUID, newUid().c_str()));
    check(dataset.putAndInsertString(DCM_StudyInstanceUID, newUid().c_str()));
    check(dataset.putAndInsertString(DCM_SeriesInstanceUID, newUid().c_str()));
    check(dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(frames).c_str()));
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2"));
    for (const auto& [key, value] : {std::pair{DCM_Rows, side},
                                     {DCM_Columns, side},
                                     {DCM_SamplesPerPixel, 1},
                                     {DCM_BitsAllocated, 16},
                                     {DCM_BitsStored, 16},
                                     {DCM_HighBit, 15},
                                     {DCM_PixelRepresentation, 0}}) {
        check(dataset.putAndInsertUint16(key, static_cast<Uint16>(value)));
    }
}

} // namespace

void writeFrames(const std::string& out, int frames, int side, bool compressed) {
    const auto pixels = makePixels(frames, side, side);
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    putAttributes(dataset, frames, side);
    check(dataset.putAndInsertUint16Array(DCM_PixelData, pixels.data(), pixels.size()));
    const E_TransferSyntax syntax = compressed ? EXS_JPEGLSLossless : EXS_LittleEndianImplicit;
    if (compressed) {
        DJLSEncoderRegistration::registerCodecs();
        const DJLSRepresentationParameter lossless;
        check(dataset.chooseRepresentation(syntax, &lossless));
    }
    check(file.saveFile(out.c_str(), syntax));
}

void anonymize(const std::string& folder, const std::string& out) {
    fs::create_directories(out);
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (!entry.path().filename().string().starts_with("IM")) {
            continue;
        }
        DcmFileFormat file;
        check(file.loadFile(entry.path().c_str(), EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect));
        (void)file.convertToUTF8();
        DcmDataset& dataset = *file.getDataset();
        for (const DcmTagKey& key : {DCM_SOPInstanceUID, DCM_StudyInstanceUID, DCM_SeriesInstanceUID}) {
            check(dataset.putAndInsertString(key, newUid().c_str()));
        }
        check(dataset.putAndInsertString(DCM_PatientID, "0123456789ABCDEF"));
        check(dataset.putAndInsertString(DCM_StudyID, "0123456789ABCDEF"));
        check(file.saveFile((fs::path(out) / entry.path().filename()).c_str(), dataset.getOriginalXfer()));
    }
}

} // namespace bare
