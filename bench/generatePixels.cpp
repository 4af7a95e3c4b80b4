#include "generatePixels.h"

#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dcrlerp.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"

const std::vector<Encoding>& encodings() {
    static const DcmRLERepresentationParameter rle;
    static const DJ_RPLossless jpeg;
    static const DJLSRepresentationParameter jpegLs;
    static const bool isRegistered = [] {
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
        return true;
    }();
    (void)isRegistered;
    static const std::vector<Encoding> all{{"", EXS_LittleEndianExplicit, nullptr},
                                           {"-rle", EXS_RLELossless, &rle},
                                           {"-jpeg", EXS_JPEGProcess14SV1, &jpeg},
                                           {"-jpegls", EXS_JPEGLSLossless, &jpegLs}};
    return all;
}

void putPixels(DcmDataset& dataset, const Uint16* pixels, int frames) {
    for (const auto& [key, value] : {std::pair{DCM_Rows, kSize},
                                     {DCM_Columns, kSize},
                                     {DCM_SamplesPerPixel, 1},
                                     {DCM_BitsAllocated, 16},
                                     {DCM_BitsStored, 12},
                                     {DCM_HighBit, 11},
                                     {DCM_PixelRepresentation, 0}}) {
        check(dataset.putAndInsertUint16(key, static_cast<Uint16>(value)));
    }
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2"));
    check(dataset.putAndInsertUint16Array(DCM_PixelData, pixels, static_cast<unsigned long>(frames) * kSize * kSize));
}

void writeMultiFrames(const std::filesystem::path& folder) {
    constexpr int kFrames = 400;
    std::vector<Uint16> pixels;
    for (const Encoding& encoding : encodings()) {
        const auto path = folder / ("frames" + encoding.suffix + ".dcm");
        if (std::filesystem::exists(path)) {
            continue;
        }
        pixels = pixels.empty() ? makePixels(kFrames) : std::move(pixels);
        DcmFileFormat file;
        DcmDataset& dataset = *file.getDataset();
        check(dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage));
        check(dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3"));
        check(dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(kFrames).c_str()));
        putPixels(dataset, pixels.data(), kFrames);
        check(dataset.chooseRepresentation(encoding.syntax, encoding.parameter));
        check(file.saveFile(path.string().c_str(), encoding.syntax));
    }
}
