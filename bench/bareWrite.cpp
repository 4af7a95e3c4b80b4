// The floor: composes a multi-frame image and saves it, and anonymizes files one by one, with DCMTK alone.
//   write OUT.dcm [jpegls]                  200 frames
//   anonymize FOLDER OUT                    new UIDs, PatientID and StudyID for every file IM...

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "pixels.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFrames = 200;

void check(const OFCondition& condition) {
    if (condition.bad()) {
        std::fprintf(stderr, "bareWrite: %s\n", condition.text());
        std::exit(1);
    }
}

std::string newUid() {
    char uid[100];
    return dcmGenerateUniqueIdentifier(uid);
}

void write(const char* out, bool compressed) {
    const auto pixels = makePixels(kFrames);
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    check(dataset.putAndInsertString(DCM_SOPClassUID, UID_MultiframeGrayscaleWordSecondaryCaptureImageStorage));
    check(dataset.putAndInsertString(DCM_SOPInstanceUID, newUid().c_str()));
    check(dataset.putAndInsertString(DCM_StudyInstanceUID, newUid().c_str()));
    check(dataset.putAndInsertString(DCM_SeriesInstanceUID, newUid().c_str()));
    check(dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(kFrames).c_str()));
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2"));
    for (const auto& [key, value] : {std::pair{DCM_Rows, kSize},
                                     {DCM_Columns, kSize},
                                     {DCM_SamplesPerPixel, 1},
                                     {DCM_BitsAllocated, 16},
                                     {DCM_BitsStored, 16},
                                     {DCM_HighBit, 15},
                                     {DCM_PixelRepresentation, 0}}) {
        check(dataset.putAndInsertUint16(key, static_cast<Uint16>(value)));
    }
    check(dataset.putAndInsertUint16Array(DCM_PixelData, pixels.data(), pixels.size()));
    const E_TransferSyntax syntax = compressed ? EXS_JPEGLSLossless : EXS_LittleEndianImplicit;
    if (compressed) {
        DJLSEncoderRegistration::registerCodecs();
        const DJLSRepresentationParameter lossless;
        check(dataset.chooseRepresentation(syntax, &lossless));
    }
    check(file.saveFile(out, syntax));
}

void anonymize(const fs::path& folder, const fs::path& out) {
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
        check(file.saveFile((out / entry.path().filename()).c_str(), dataset.getOriginalXfer()));
    }
}

} // namespace

int main(int argc, char** argv) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    if (argc < 3) {
        std::fprintf(stderr, "Usage: bareWrite write OUT.dcm [jpegls] | anonymize FOLDER OUT\n");
        return 2;
    }
    if (std::string(argv[1]) == "write") {
        write(argv[2], argc > 3);
    } else if (argc > 3) {
        anonymize(argv[2], argv[3]);
    }
}
